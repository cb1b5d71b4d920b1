#include "forms/visitor_form.h"

#include <algorithm>

#include "core/sinks.h"
#include "core/text.h"

namespace vantry {
namespace {

const FormField<KnownVisitorForm> kKnownVisitorRows[] = {
    Edits<&KnownVisitorForm::name>({"Visitor", "txtName", "&Enter Your Friendly Name For This Visitor:"}),
};

bool IsMask(std::string_view text) {
  return Contains(text, "*") || Contains(text, "$");
}

}  // namespace

const std::span<const FormField<KnownVisitorForm>> kKnownVisitorFields = kKnownVisitorRows;

std::optional<size_t> PlaceForGroup(std::span<const std::string> rows) {
  const auto found = std::find_if(rows.begin(), rows.end(), [](const std::string& row) { return Trim(row).empty(); });
  if (found == rows.end()) return std::nullopt;
  return static_cast<size_t>(found - rows.begin());
}

std::string GroupRow(std::string_view dns) {
  return std::string(Trim(dns.substr(0, dns.find(" ?"))));
}

std::optional<GroupProblem> CheckGroups(std::span<const std::string> rows) {
  for (size_t row = 0; row < rows.size(); ++row) {
    const std::string entry(Trim(rows[row]));
    if (entry.empty() || IsMask(entry)) continue;
    return GroupProblem{row, entry +
                                 "\nThere are no mask characters in this DNS Name. For groups to work you need to use "
                                 "masks. For example: *.proxy.example.com or cache?.example.*"};
  }
  return std::nullopt;
}

void StoreGroups(std::span<const std::string> rows, Settings& settings) {
  settings.DNSMask.fill({});
  size_t place = 0;
  for (const std::string& row : rows) {
    const std::string_view entry = Trim(row);
    if (!entry.empty() && place < settings.DNSMask.size()) settings.DNSMask[place++] = entry;
  }
}

void ShowFriendlyName(LiveTables& t, int16_t site, std::string_view address, std::string_view name) {
  VisitorRec* visitor = t.Visitors.Lookup(site, address);
  if (!visitor) return;
  visitor->KnownName = t.Visitors.Shared(name);
  t.Visitors.Touch(*visitor);
  if (t.Live) t.Live->Changed(*visitor);
}

}  // namespace vantry
