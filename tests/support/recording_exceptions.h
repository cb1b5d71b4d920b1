// Keeps what was raised.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/sinks.h"

namespace vantry {

struct RecordingExceptions final : ExceptionSink {
  std::vector<std::string> calls;  // "site|number|value", with "-" for no value.
  LogTime when;                    // Of the last.

  bool AddException(int16_t site, int number, LogTime w, std::optional<std::string_view> value, std::string_view,
                    int32_t) override {
    when = w;
    calls.push_back(std::to_string(site) + "|" + std::to_string(number) + "|" + std::string(value.value_or("-")));
    return true;
  }
  void CheckExceptions(int16_t) override {}
};

}  // namespace vantry
