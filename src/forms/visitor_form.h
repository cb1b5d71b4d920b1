// What people say of visitors: the masks that make many visitors one, and a friendly name for one.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"
#include "core/tables.h"
#include "forms/form_field.h"

namespace vantry {

// The place in `rows` that takes a new mask, none when all are taken.
std::optional<size_t> PlaceForGroup(std::span<const std::string> rows);
// A host name as a new row: without the mark of a look-up that failed.
std::string GroupRow(std::string_view dns);

struct GroupProblem {
  size_t row = 0;
  std::string text;
};
// The first row that is not empty and not a mask. "?" alone does not make one.
std::optional<GroupProblem> CheckGroups(std::span<const std::string> rows);
// The masks in their order, without gaps: the first empty place ends the search for a visitor's group.
void StoreGroups(std::span<const std::string> rows, Settings& settings);

// What the history has room for.
inline constexpr int kFriendlyNameLength = 25;

struct KnownVisitorForm {
  std::string name;
};
extern const std::span<const FormField<KnownVisitorForm>> kKnownVisitorFields;

// Gives the name to the visitor of this site and address, if there is one on line; an empty one takes it away.
void ShowFriendlyName(LiveTables& t, int16_t site, std::string_view address, std::string_view name);

}  // namespace vantry
