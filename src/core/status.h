// The one failure value of the program. Bad input, full disks and vanished files are values, never asserts.
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace vantry {

enum class Fail { kNone, kNotFound, kBadData, kIo, kRefused };

// `text` is for people and logs; it is empty when `fail` is kNone.
struct [[nodiscard]] Status {
  Fail fail = Fail::kNone;
  std::string text;

  bool ok() const { return fail == Fail::kNone; }
  static Status Ok() { return {}; }
  static Status Error(Fail fail, std::string text) { return {fail, std::move(text)}; }
};

// Runs `body` (returning Status) and turns an exception of the standard library, such as a full memory, into a failure.
template <class F>
Status Attempt(F&& body) {
  try {
    return body();
  } catch (const std::exception& e) {
    return Status::Error(Fail::kIo, e.what());
  }
}

}  // namespace vantry
