// Views that somebody mails from the window: which file each becomes, and the addresses to choose from.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"
#include "core/status.h"
#include "core/tables.h"
#include "notify/mail_queue.h"
#include "notify/report_grid.h"
#include "ports/files.h"
#include "ports/key_store.h"

namespace vantry {

// By the view's number: 0 visitors, 1 alerts, 2 spiders, 3 exceptions; then the lists of the history: 4 top referrers,
// 5 previous visits, 6 a visit, 7 top downloads, 8 downloads of an address, 9 days.
struct MailedView {
  std::string_view caption;  // Of the dialog; empty: the title of the list.
  std::string_view title;    // Of the file, HTML.
  std::string_view file;     // In the program's folder; each mail overwrites it.
};
extern const std::span<const MailedView> kMailedViews;

// The addresses to choose from: the site's own (null: no site is chosen), the general one, and those typed in before.
// None stands twice, case counts.
std::vector<std::string> KnownAddresses(const Settings& settings, const SiteRec* site, KeyStore& registry);

// Adds an address to those that were typed in before, unless it is one of them already.
void RememberAddress(std::string_view address, KeyStore& registry);

struct ViewMailer {
  std::string app_path;
  Files& files;
  MailQueue& mail;
};

// Writes the grid into the view's file and mails that to the address. A failure names the file.
Status SendView(const ViewMailer& with, const MailedView& view, const ReportGrid& grid, std::string_view summary,
                const std::string& address);

}  // namespace vantry
