#include "core/page_grid.h"

#include "core/tables.h"

namespace vantry {

void PageRows::AddRow(VisitorRec& visitor, int16_t no, std::string_view page, std::string_view query,
                      int32_t second_of_day) {
  if (rows_.size() >= kMaxRows) DropFront();
  const std::string_view text = texts_.Push(page, query);
  text_bytes_ += text.size();
  rows_.push_back(PageRow{text, visitor.LastPageRow, second_of_day, no});
  visitor.LastPageRow = first_ + rows_.size() - 1;
  while (text_bytes_ > kMaxTextBytes) DropFront();
}

// The visitor's chain may still name this row; a number below first_ is no longer a row.
void PageRows::DropFront() {
  text_bytes_ -= rows_.front().page.size();
  rows_.pop_front();
  texts_.Pop();
  ++first_;
}

void PageRows::Clear() {
  // The numbers run on, so that a head which a visitor still holds is below every later row.
  first_ += rows_.size();
  rows_.clear();
  texts_.Clear();
  text_bytes_ = 0;
}

void TraceRows::AddRow(std::string_view site, int64_t position, std::string_view text) {
  ++added_;
  if (rows_.size() == kMaxRows) {
    rows_.pop_front();
    texts_.Pop();
  }
  const std::string_view both = texts_.Push(site, text.substr(0, kMaxText));
  rows_.push_back({both.substr(0, site.size()), both.substr(site.size()), position});
}

}  // namespace vantry
