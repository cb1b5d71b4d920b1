// The section `Corrections` of registry.ini: which corrections are switched on.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/corrections.h"
#include "core/status.h"
#include "ports/key_store.h"

namespace vantry {

inline constexpr char kCorrectionsSection[] = "Corrections";

// `All` switches every row on, each key overrides it; for a number `True` means the row's standard. A value that can't
// be understood counts as not written, and `problems` gets what is wrong with it, as it does for keys without a row.
Corrections ReadCorrections(KeyStore& store, std::vector<std::string>& problems);

// Switches one row, or `All`, or sets SaveEvery. kBadData with a text for people when the key or its value can't be
// understood; nothing is written then.
Status SetCorrection(KeyStore& store, std::string_view key, std::string_view value);

// "on", "off", or the number of a row that has one.
std::string CorrectionState(const CorrectionRow& row, const Corrections& corrections);

}  // namespace vantry
