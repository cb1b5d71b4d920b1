#include "config/correction_switches.h"

#include <optional>

#include "config/value_forms.h"
#include "core/text.h"

namespace vantry {
namespace {

constexpr std::string_view kAll = "All";
constexpr std::string_view kSaveEvery = "SaveEvery";

std::optional<int32_t> ParseSwitch(const CorrectionRow* row, std::string_view text) {
  if (row && row->number) {
    if (const auto n = ParseLong(text)) return *n >= 0 ? n : std::nullopt;
  }
  const auto on = ParseBool(text);
  if (!on) return std::nullopt;
  return *on ? (row && row->number ? row->standard : 1) : 0;
}

std::optional<int32_t> ParseSaveEvery(std::string_view text) {
  const auto seconds = ParseLong(text);
  return seconds && *seconds >= 1 ? seconds : std::nullopt;
}

// Why the key can't have this value; empty when it can.
std::string FindMistake(std::string_view key, std::string_view value) {
  const std::string is = std::string(key) + " is '" + std::string(value) + "', which is ";
  if (EqualsNoCase(key, kSaveEvery)) {
    return ParseSaveEvery(value) ? "" : is + "not a number of seconds from 1";
  }
  const CorrectionRow* row = FindCorrection(key);
  if (!row && !EqualsNoCase(key, kAll)) {
    return "there is no correction '" + std::string(key) + "'; `vantryctl corrections` lists them";
  }
  if (ParseSwitch(row, value)) return "";
  return is + (row && row->number ? "none of True, False and a whole number" : "neither True nor False");
}

}  // namespace

Corrections ReadCorrections(KeyStore& store, std::vector<std::string>& problems) {
  Corrections corrections;
  const auto read = [&](std::string_view key) { return store.Get(kCorrectionsSection, std::string(key)); };
  for (const std::string& name : store.Names(kCorrectionsSection)) {
    const std::string mistake = FindMistake(name, read(name).value_or(""));
    if (!mistake.empty()) problems.push_back("registry.ini, [Corrections]: " + mistake + ". The line is not used.");
  }
  const bool all = ParseSwitch(nullptr, read(kAll).value_or("False")).value_or(0) != 0;
  for (const CorrectionRow& row : CorrectionRows()) {
    const auto written = read(row.key);
    const auto value = written ? ParseSwitch(&row, *written) : std::nullopt;
    row.Set(corrections, value.value_or(all ? (row.number ? row.standard : 1) : 0));
  }
  if (const auto written = read(kSaveEvery)) {
    corrections.SaveEvery = ParseSaveEvery(*written).value_or(corrections.SaveEvery);
  }
  return corrections;
}

Status SetCorrection(KeyStore& store, std::string_view key, std::string_view value) {
  if (std::string mistake = FindMistake(key, value); !mistake.empty()) {
    mistake[0] = UpperAscii(mistake[0]);
    return Status::Error(Fail::kBadData, std::move(mistake) + ".");
  }
  const CorrectionRow* row = FindCorrection(key);
  const std::string_view name = row ? row->key : (EqualsNoCase(key, kAll) ? kAll : kSaveEvery);
  return store.Set(kCorrectionsSection, std::string(name), std::string(value));
}

std::string CorrectionState(const CorrectionRow& row, const Corrections& corrections) {
  const int32_t value = row.Value(corrections);
  if (value == 0) return "off";
  return row.number ? std::to_string(value) : "on";
}

}  // namespace vantry
