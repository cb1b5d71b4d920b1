// Values worked out from texts, each once while it is remembered.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace vantry {

template <class Value>
class Remembered {
 public:
  // At least `least` texts are remembered, twice as many at most.
  explicit Remembered(size_t least) : least_(least) {}

  // `work_out(text)` gives the value of a text that is not remembered. Holds until the next call.
  template <class WorkOut>
  const Value& Get(std::string_view text, WorkOut&& work_out) {
    if (const auto it = newer_.find(text); it != newer_.end()) return it->second;
    if (newer_.size() >= least_) {
      older_ = std::move(newer_);
      newer_.clear();
    }
    const std::string key(text);
    if (auto node = older_.extract(key)) return newer_.insert(std::move(node)).position->second;
    return newer_.emplace(key, work_out(text)).first->second;
  }

 private:
  struct Hash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
  };
  using Generation = std::unordered_map<std::string, Value, Hash, std::equal_to<>>;

  size_t least_;
  // When the newer is full it becomes the older, and what the older still held is forgotten.
  Generation newer_, older_;
};

}  // namespace vantry
