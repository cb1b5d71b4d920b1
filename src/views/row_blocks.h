// Rows of a table in the order of their numbers, read in blocks.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/status.h"
#include "database/row_view.h"

namespace vantry {

class RowBlocks {
 public:
  // Gives the living ones of about `rows` more rows to `take`. `more` is false after the last one and after a failure.
  // `source`: a Table or a DbfFile.
  template <class Source, class Take>
  Status Read(Source& source, size_t rows, const Take& take, bool& more) {
    const RowLayout& layout = source.Layout();
    more = false;
    while (rows > 0) {
      const Status status = source.ReadRows(next_, static_cast<uint32_t>(std::min(rows, kBlockRows)), bytes_);
      if (!status.ok() || bytes_.empty()) return status;
      const size_t count = bytes_.size() / layout.row_bytes;
      for (size_t i = 0; i < count; ++i) {
        const char* row = bytes_.data() + i * layout.row_bytes;
        if (*row == dbf::kLiving) take(RowView{layout, row});
      }
      next_ += static_cast<uint32_t>(count);
      rows -= std::min(rows, count);
    }
    more = true;
    return Status::Ok();
  }

 private:
  static constexpr size_t kBlockRows = 1024;
  uint32_t next_ = 1;
  std::string bytes_;
};

}  // namespace vantry
