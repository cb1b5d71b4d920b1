#include "network/trace_run.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace vantry {

TraceRun::TraceRun(TraceRoute& route, Resolver* names, std::string host, TraceRunEvents events)
    : route_(route), names_(names), host_(std::move(host)), asked_(host_), events_(std::move(events)) {
  if (names_) names_->OnComplete([this](const ResolverAnswer& answer) { Named(answer); });
}

TraceRun::~TraceRun() {
  DropRequests();
  if (names_) names_->Cancel();
}

void TraceRun::Start() {
  running_ = true;
  AskMore();
}

void TraceRun::Stop() {
  if (names_) names_->Cancel();
  if (running_) End("Stopped.");
}

// The first hop goes alone: with its answer the address is known, and the name need not be looked up again.
void TraceRun::AskMore() {
  while (running_ && next_to_ask_ <= last_ && requests_.size() < static_cast<size_t>(kAtOnce)) {
    if (next_to_ask_ > 1 && next_to_tell_ == 1) return;
    // Not far beyond what is known: the host is likely near.
    if (next_to_ask_ >= next_to_tell_ + kAtOnce) return;
    const int32_t hop = next_to_ask_++;
    requests_[hop] =
        route_.Probe({asked_, hop, kTimeoutMs}, [this, hop](const HopAnswer& answer) { Answered(hop, answer); });
  }
}

void TraceRun::Answered(int32_t hop, const HopAnswer& answer) {
  if (!running_ || requests_.erase(hop) == 0) return;
  if (!answer.status.ok()) return End(answer.status.text);
  if (!answer.target.empty()) asked_ = answer.target;
  if (answer.is_end) last_ = std::min(last_, hop);
  answers_[hop] = answer;
  TellInOrder();
  AskMore();
}

void TraceRun::TellInOrder() {
  while (running_) {
    const auto next = answers_.extract(next_to_tell_);
    if (!next) return;
    const HopAnswer& answer = next.mapped();
    Tell(answer);
    if (next_to_tell_ < last_) {
      ++next_to_tell_;
      continue;
    }
    End(!answer.is_end        ? host_ + " was not reached within " + std::to_string(kMostHops) + " hops."
        : answer.note.empty() ? "Trace complete."
                              : answer.address + ": " + answer.note);
  }
}

void TraceRun::Tell(const HopAnswer& answer) {
  const bool silent = answer.address.empty();
  events_.hop({next_to_tell_, silent ? "*" : std::to_string((answer.time_us + 500) / 1'000) + " ms", answer.address,
               answer.note});
  if (!silent) LookUp(answer.address);
}

void TraceRun::LookUp(const std::string& address) {
  if (!names_ || !running_) return;
  if (const int16_t id = names_->Start(address); id > 0) asked_names_[id] = next_to_tell_;
}

void TraceRun::Named(const ResolverAnswer& answer) {
  const auto asked = asked_names_.extract(answer.id);
  if (asked && answer.status == 0 && !answer.name.empty()) events_.name(asked.mapped(), answer.name);
}

void TraceRun::DropRequests() {
  const auto requests = std::exchange(requests_, {});
  for (const auto& [hop, request] : requests) route_.Stop(request);
}

void TraceRun::End(const std::string& text) {
  running_ = false;
  DropRequests();
  answers_.clear();
  events_.done(text);
}

}  // namespace vantry
