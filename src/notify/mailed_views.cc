#include "notify/mailed_views.h"

#include <algorithm>

#include "config/registry_store.h"
#include "core/text.h"
#include "notify/grid_to_html.h"

namespace vantry {
namespace {

constexpr char kSection[] = "Settings", kName[] = "EmailAddresses";

constexpr MailedView kViews[] = {
    {"Email View: Current Visitors", "Current Visitors", "Current Visitors.htm"},
    {"Email View: Alerts", "Alerts", "Alerts.htm"},
    {"Email View: Spiders", "Spiders", "Spiders.htm"},
    {"Email View: Exceptions", "Exceptions", "Exceptions.htm"},
    {"Email View: Referrers", "Top Referrers", "Referrers.htm"},
    {"", "Previous Visits", "Previous Visits.htm"},
    {"", "Visit Details", "Visit Details.htm"},
    {"", "Top Downloads", "Top Downloads.htm"},
    {"", "Downloaded Files", "Downloads.htm"},
    {"", "Days", "Days.htm"},
};

}  // namespace

const std::span<const MailedView> kMailedViews = kViews;

std::vector<std::string> KnownAddresses(const Settings& settings, const SiteRec* site, KeyStore& registry) {
  std::vector<std::string> addresses;
  const auto add = [&](std::string_view address) {
    if (address.empty() || std::find(addresses.begin(), addresses.end(), address) != addresses.end()) return;
    addresses.emplace_back(address);
  };
  if (site) add(site->EmailAddress);
  add(settings.EmailSendTo);
  const std::string typed = ReadRegistryValue(registry, kSection, kName, "");
  for (const std::string_view address : Split(typed, ' ')) add(address);
  return addresses;
}

void RememberAddress(std::string_view address, KeyStore& registry) {
  // One text with a blank after each address. Reading drops the one at the end of a line, so it is put back.
  std::string typed = ReadRegistryValue(registry, kSection, kName, "");
  if (!typed.empty() && typed.back() != ' ') typed += ' ';
  const std::string entry = std::string(address) + " ";
  if (!Contains(typed, entry)) typed += entry;
  WriteRegistryValue(registry, kSection, kName, typed);
}

Status SendView(const ViewMailer& with, const MailedView& view, const ReportGrid& grid, std::string_view summary,
                const std::string& address) {
  const std::string path = with.app_path + std::string(view.file);
  const std::string subtitle = EscapeHTML(summary);
  Status status = GridToHTML(grid, with.files, path, {.title = view.title, .subtitle = subtitle});
  if (status.ok()) with.mail.SendMailNow({.send_to = address, .body = "", .attachment = path, .is_html = true});
  return status;
}

}  // namespace vantry
