// Web servers in memory: answers come on command.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ports/http.h"

namespace vantry {

class FakeHttp final : public Http {
 public:
  std::vector<std::string> asked;  // Every address asked for, in order.

  int64_t Get(const std::string& url, HttpDone done) override {
    asked.push_back(url);
    under_way_[++last_] = std::move(done);
    return last_;
  }
  void Reset(int64_t request) override {
    if (ended_.contains(request)) return;
    under_way_.erase(request);
  }
  size_t UnderWay() const { return under_way_.size(); }
  int64_t Last() const { return last_; }

  // The server answers this request, the latest by default; nothing happens for one that was dropped.
  void Answer(int64_t request = 0) { Tell(request, Status::Ok()); }
  void Fail(const std::string& text, int64_t request = 0) { Tell(request, Status::Error(vantry::Fail::kIo, text)); }
  // The request ends; the loop tells of it later, whatever is dropped until then.
  void End(int64_t request, const Status& status) { ended_[request] = status; }
  void TellEnded() {
    for (const auto& [request, status] : std::exchange(ended_, {})) Tell(request, status);
  }

 private:
  void Tell(int64_t request, const Status& status) {
    const auto node = under_way_.extract(request == 0 ? last_ : request);
    if (node) node.mapped()(status);
  }

  std::map<int64_t, HttpDone> under_way_;
  std::map<int64_t, Status> ended_;
  int64_t last_ = 0;
};

}  // namespace vantry
