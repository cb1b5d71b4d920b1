#include "core/page_grid.h"

#include "core/tables.h"

namespace vantry {

void PageRows::AddRow(VisitorRec& visitor, int16_t no, std::string_view page, std::string_view query,
                      int32_t second_of_day) {
  std::string text;  // Of the row that goes, so that a full list asks for no more memory.
  if (rows_.size() >= kMaxRows) text = DropFront();
  text.assign(page).append(query);
  text_bytes_ += text.size();
  rows_.push_back(PageRow{std::move(text), visitor.LastPageRow, second_of_day, no});
  visitor.LastPageRow = first_ + rows_.size() - 1;
  while (text_bytes_ > kMaxTextBytes) DropFront();
}

std::string PageRows::DropFront() {
  // The visitor's chain may still name this row; a number below first_ is no longer a row.
  std::string text = std::move(rows_.front().page);
  text_bytes_ -= text.size();
  rows_.pop_front();
  ++first_;
  return text;
}

void PageRows::Clear() {
  // The numbers run on, so that a head which a visitor still holds is below every later row.
  first_ += rows_.size();
  rows_.clear();
  text_bytes_ = 0;
}

void TraceRows::AddRow(std::string_view site, int64_t position, std::string_view text) {
  ++added_;
  TraceRow* row = nullptr;
  if (rows_.size() < kMaxRows) {
    row = &rows_.emplace_back();
  } else {
    row = &rows_[start_];
    start_ = start_ + 1 == kMaxRows ? 0 : start_ + 1;
  }
  row->site = site;
  row->position = position;
  row->text = text.substr(0, kMaxText);
}

}  // namespace vantry
