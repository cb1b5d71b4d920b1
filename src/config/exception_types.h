// The table of exception types: per type its message text, its threshold and what is done when it is raised, with the
// built-in rows and the file EXTYPES.INI.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/value_forms.h"
#include "core/status.h"
#include "core/tables.h"

namespace vantry {

struct ExceptionType {
  int16_t Number = 0;
  std::string Description;  // With placeholders in square brackets.
  std::string Value;        // The threshold; a number in its shortest form, or any text, or empty.
  bool Raise = false;
  bool Email = false;
  std::string EmailAddress;
  bool SMS = false;
  std::string SMSNumber;
  bool NetMsg = false;
  std::string NetDNS;
  bool EventLog = false;
  int16_t EventLevel = 0;  // 4 information, 2 warning, 1 error.
  bool RunProgram = false;
  std::string Run;
};

// Finds the type with this number and overwrites it, or appends a new one: event level 4, no addresses, SMS, network
// message and program off. `EventLog` of an existing type stays.
void AddExType(std::vector<ExceptionType>& types, int16_t number, std::string_view description, bool raise, bool email,
               std::optional<std::string_view> value = {});

void AddDefaultExTypes(std::vector<ExceptionType>& types);

// Appends the types in the bytes of EXTYPES.INI to `types`. On a problem the types read so far stay.
std::optional<ReadProblem> ReadExTypes(std::string_view bytes, std::vector<ExceptionType>& types);
std::string FormatExTypes(const std::vector<ExceptionType>& types);

// Copies the thresholds that the hit path compares against into every site. A threshold that is no 16-bit number is
// the failure; those before it have been copied.
Status RefreshexceptionConstants(const std::vector<ExceptionType>& types, LiveTables& tables);

}  // namespace vantry
