#include "ctl/history_command.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>

#include "config/registry_store.h"
#include "core/screen_text.h"
#include "core/text.h"
#include "ctl/folder_commands.h"
#include "platform/posix_data_files.h"
#include "platform/regional_locale.h"
#include "setup/site_folder.h"
#include "setup/terminal.h"
#include "views/history_lists.h"
#include "views/list_export.h"
#include "views/table_files.h"

namespace vantry {
namespace {

constexpr size_t kRowsAtOnce = 10'000;
constexpr int kLeastTextWidth = 8;
constexpr std::string_view kLists[] = {"visits", "visit", "referrers", "downloads", "days"};

struct Asked {
  std::string folder, list, visit;
};

Status BadWords(std::string text) {
  return Status::Error(Fail::kBadData, std::move(text));
}

// "[DIR] LIST [VISIT]".
Status ReadWords(const std::vector<std::string>& words, Asked& asked) {
  const auto is_list = [](const std::string& word) {
    return std::find(std::begin(kLists), std::end(kLists), word) != std::end(kLists);
  };
  const size_t at = is_list(words[0]) ? 0 : 1;
  if (at == 1) asked.folder = words[0];
  if (at >= words.size() || !is_list(words[at])) {
    return BadWords("history shows visits, visit, referrers, downloads or days.");
  }
  asked.list = words[at];
  const size_t more = words.size() - at - 1;
  if (asked.list == "visit" && more == 1) asked.visit = words.back();
  if (more == (asked.list == "visit" ? 1 : 0)) return Status::Ok();
  return BadWords(asked.list == "visit" ? "history visit needs the number of one visit."
                                        : "history " + asked.list + " can't use '" + Printable(words.back()) + "'.");
}

Status MakeList(HistoryTables& tables, const Asked& asked, const HistoryQuestion& q,
                std::unique_ptr<HistoryList>& list) {
  const VisitSubject subject{q.address, q.site};
  const DayRange days{q.from, q.to};
  if (!q.address.empty() && (asked.list == "referrers" || asked.list == "days")) {
    return BadWords("history " + asked.list + " does not take --address.");
  }
  if (asked.list == "visits") {
    list = PreviousVisits(tables, subject, days);
  } else if (asked.list == "visit") {
    const auto number = WholeNumber(asked.visit);
    if (!number || *number < 1) return BadWords("'" + Printable(asked.visit) + "' is not the number of a visit.");
    if (subject.ip.empty() || subject.site.empty()) return BadWords("history visit needs --site and --address.");
    list = VisitDetails(tables, {subject, *number, q.from}, nullptr);
  } else if (asked.list == "referrers") {
    list = TopReferrers(tables, q.site, days);
  } else if (asked.list == "downloads") {
    const std::string from = q.from ? IsoDate(*q.from) : "", to = q.to ? IsoDate(*q.to) : "";
    list = q.address.empty() ? TopDownloads(tables, q.site, days, from + (from == to ? "" : " - " + to))
                             : PreviousDownloads(tables, subject, days);
  } else {
    list = Days(tables, q.site, days);
  }
  return Status::Ok();
}

void PrintText(const HistoryList& list, size_t rows, const Regional& regional) {
  TextTable table;
  for (const HistoryColumn& column : list.Columns()) {
    const bool right = column.align == Align::kRight;
    table.columns.push_back({column.heading, right, column.kind == CellKind::kText ? kLeastTextWidth : 0});
  }
  for (size_t row = 0; row < rows; ++row) {
    std::vector<std::string>& texts = table.rows.emplace_back();
    for (size_t c = 0; c < list.Columns().size(); ++c) texts.push_back(list.Shown(row, c, &regional));
  }
  std::cout << Printable(list.Title()) << "\n\n";
  if (table.rows.empty()) {
    std::cout << "Nothing is known of that.\n";
  } else {
    for (const std::string& line : FormatTable(table, ReadScreen().width)) std::cout << line << "\n";
  }
}

// CSV and JSON, as the rows come.
void PrintRows(const HistoryList& list, size_t from, size_t to, HistoryFormat format) {
  for (size_t row = from; row < to; ++row) {
    if (format == HistoryFormat::kCsv) {
      std::cout << CsvRow(list, row);
    } else {
      std::cout << (row == 0 ? "\n" : ",\n") << JsonRow(list, row);
    }
  }
}

}  // namespace

Status HistoryCommand(Files& files, const CtlArguments& arguments) {
  const HistoryQuestion& q = arguments.history;
  Asked asked;
  std::string home, folder;
  Status status = ReadWords(arguments.operands, asked);
  if (status.ok()) status = FolderOf(asked.folder, home);
  if (status.ok()) status = FindDataFolder(files, home, folder);
  if (!status.ok()) return status;
  PosixDataFiles data_files;
  TableFiles tables(data_files, folder);
  std::unique_ptr<HistoryList> list;
  if (status = MakeList(tables, asked, q, list); !status.ok()) return status;
  if (q.format == HistoryFormat::kCsv) std::cout << CsvHead(*list);
  if (q.format == HistoryFormat::kJson) std::cout << "[";
  const size_t most = q.limit ? static_cast<size_t>(*q.limit) : SIZE_MAX;
  size_t shown = 0;
  while (status.ok() && !list->Ended() && shown < most) {
    status = list->Step(kRowsAtOnce);
    const size_t rows = std::min(most, list->Rows());
    if (q.format != HistoryFormat::kText) PrintRows(*list, shown, rows, q.format);
    shown = rows;
  }
  if (q.format == HistoryFormat::kText) {
    RegistryFile registry(files, home + "registry.ini");
    PrintText(*list, shown, ReadRegional(registry));
  }
  if (q.format == HistoryFormat::kJson) std::cout << "\n]\n";
  if (!status.ok()) status.text = Printable(status.text);
  return status;
}

}  // namespace vantry
