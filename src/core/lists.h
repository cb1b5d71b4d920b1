// How the lists look wherever they are shown: one description for each, with the heading, width and alignment of its
// columns and the functions that make a cell's text and icon from a record. Records hold numbers and times; text is
// made here.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "core/day_list.h"
#include "core/look.h"
#include "core/regional.h"

namespace vantry {

struct LiveTables;
struct PageRow;
struct TraceRow;
struct VisitorRec;

// What texts are made from besides the record.
struct ListTexts {
  const LiveTables& t;
  const Regional& regional;
};

template <class Row>
struct ListColumn {
  std::string_view heading;
  int width = 0;  // In characters.
  Align align = Align::kLeft;
  std::string (*text)(const Row& row, const ListTexts& with) = nullptr;
  int16_t (*icon)(const Row& row) = nullptr;    // Null: none.
  int64_t (*number)(const Row& row) = nullptr;  // What the rows are sorted by; null: the text.
};

template <class Row>
struct ListDescription {
  std::span<const ListColumn<Row>> columns;
  size_t site_column = 0;                        // Hidden while one site is shown.
  int16_t (*icon)(const Row& row) = nullptr;     // Of the row as a whole; null: none.
  uint32_t (*colour)(const Row& row) = nullptr;  // Background of the row; null: none.

  std::string Text(const Row& row, size_t column, const ListTexts& with) const {
    return columns[column].text(row, with);
  }
};

// The visitors on line are themselves the rows of their list.
namespace vs_grid {
enum Column { kSite, kKey, kNo, kVisit, kDns, kOnPage, kStartTime, kLastTime, kBrowser, kLoc, kReferrer, kCount };
extern const ListDescription<VisitorRec> kList;
}  // namespace vs_grid
namespace log_grid {
enum Column { kSn, kSite, kNo, kAlert, kVisit, kDns, kDateTime, kPage, kMinsOnSite, kLoc, kReferrer, kCount };
extern const ListDescription<AlertRow> kList;
}  // namespace log_grid
namespace spider_grid {
enum Column { kSn, kSite, kNo, kVisit, kDns, kEngine, kDateTime, kPage, kLoc, kReferrer, kCount };
extern const ListDescription<SpiderRow> kList;
}  // namespace spider_grid
namespace ex_grid {
enum Column { kSn, kSite, kNo, kNumber, kDateTime, kDetails, kCount };
extern const ListDescription<ExceptionRow> kList;
}  // namespace ex_grid
namespace page_grid {
enum Column { kNo, kPage, kTime, kCount };
extern const ListDescription<PageRow> kList;
}  // namespace page_grid
namespace trace_grid {
enum Column { kSite, kPosition, kText, kCount };
extern const ListDescription<TraceRow> kList;
}  // namespace trace_grid

}  // namespace vantry
