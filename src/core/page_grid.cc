#include "core/page_grid.h"

#include <algorithm>

#include "core/tables.h"

namespace vantry {

namespace page_grid {
const GridColumn kColumns[kCount] = {{"No", Align::kRight}, {"Page"}, {"Time", Align::kCentre}};
}  // namespace page_grid

void PageRows::AddRow(VisitorRec& visitor, int16_t no, std::string_view page, std::string_view query,
                      int32_t second_of_day) {
  if (rows_.size() >= kMaxRows) DropFront();
  PageRow& row = rows_.emplace_back(PageRow{{}, &visitor, visitor.LastPageRow, second_of_day, no, true});
  row.page.reserve(page.size() + query.size());
  row.page.append(page).append(query);
  visitor.LastPageRow = first_ + rows_.size() - 1;
}

void PageRows::DropFront() {
  if (!rows_.front().visitor) {
    --dead_;
  } else if (rows_.front().visitor->LastPageRow == first_) {
    rows_.front().visitor->LastPageRow = kNoRow;
  }
  rows_.pop_front();
  ++first_;
}

void PageRows::DeleteRows(VisitorRec& visitor) {
  // Rows that were dropped at the front end the chain too.
  for (uint64_t n = visitor.LastPageRow; n != kNoRow && n >= first_;) {
    PageRow& row = rows_[n - first_];
    row.visitor = nullptr;
    std::string().swap(row.page);
    ++dead_;
    n = row.previous;
  }
  visitor.LastPageRow = kNoRow;
  while (!rows_.empty() && !rows_.front().visitor) DropFront();
}

void PageRows::Clear() {
  // The numbers run on, so that a head which a visitor still holds stands before every later row.
  first_ += rows_.size();
  rows_.clear();
  dead_ = 0;
}

void TraceRows::AddRow(std::string_view site, int64_t position, std::string_view text) {
  TraceRow* row = nullptr;
  if (rows_.size() < kMaxRows) {
    row = &rows_.emplace_back();
  } else {
    row = &rows_[start_];
    start_ = (start_ + 1) % kMaxRows;
  }
  row->site = site;
  row->position = position;
  row->text = text.substr(0, kMaxText);
  std::replace(row->text.begin(), row->text.end(), '\t', ' ');
}

}  // namespace vantry
