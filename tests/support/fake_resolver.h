// Name servers in memory: answers come on command, and requests can be refused.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <arpa/inet.h>

#include "ports/resolver.h"

namespace vantry {

class FakeResolver final : public Resolver {
 public:
  std::vector<std::string> started;  // Every address asked for, in order.
  bool refuses = false;              // As with no name server at all.
  int16_t next_id = 1;

  void OnComplete(std::function<void(const ResolverAnswer&)> complete) override { complete_ = std::move(complete); }
  int Pending() const override { return static_cast<int>(under_way_.size()); }
  int16_t Start(const std::string& address) override {
    char bytes[16];
    const bool is_address =
        ::inet_pton(AF_INET, address.c_str(), bytes) == 1 || ::inet_pton(AF_INET6, address.c_str(), bytes) == 1;
    if (!is_address || refuses || cancelled_) return 0;
    started.push_back(address);
    while (under_way_.contains(next_id)) Step();
    const int16_t id = next_id;
    Step();
    under_way_[id] = address;
    order_.push_back(id);
    return id;
  }
  void Cancel() override {
    cancelled_ = true;
    under_way_.clear();
    order_.clear();
  }

  // Answers this request now, as the loop would. Nothing happens for one that is not under way.
  void Answer(int16_t id, const std::string& name, int status = 0, const std::string& description = "") {
    const auto request = under_way_.extract(id);
    if (!request) return;
    std::erase(order_, id);
    if (complete_) complete_({id, status, description, request.mapped(), name});
  }
  // Answers the oldest request; false when there is none.
  bool AnswerNext(const std::function<std::string(const std::string& address)>& name_of) {
    if (order_.empty()) return false;
    const int16_t id = order_.front();
    const std::string name = name_of(under_way_[id]);
    Answer(id, name, name.empty() ? 4 : 0, name.empty() ? "NXDOMAIN" : "");
    return true;
  }

 private:
  void Step() { next_id = next_id == 32'767 ? int16_t{1} : static_cast<int16_t>(next_id + 1); }
  std::function<void(const ResolverAnswer&)> complete_;
  std::map<int16_t, std::string> under_way_;
  std::deque<int16_t> order_;
  bool cancelled_ = false;
};

}  // namespace vantry
