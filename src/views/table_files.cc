#include "views/table_files.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "core/text.h"
#include "database/dbf_file.h"
#include "database/key_expression.h"
#include "views/row_blocks.h"

namespace vantry {
namespace {

// The rows of a table file from the first to the last that was there at the start.
class FileRows {
 public:
  FileRows(DataFiles& files, const std::string& folder, HistoryTable table)
      : schema_(SchemaOf(table)), path_(folder + schema_.name + ".DBF"), file_(files) {}

  // A table that is not there has no rows.
  Status Open(bool& missing) {
    RowLayout narrow, wide;
    Status status = ParseFields(schema_.fields, narrow);
    if (status.ok()) status = ParseFields(WideFields(schema_), wide);
    std::string repair;  // A count that lags behind is no wonder while somebody writes.
    if (status.ok()) status = file_.Open(path_, OpenFor::kReading, narrow, Day{}, repair);
    missing = status.fail == Fail::kNotFound;
    if (missing || !status.ok()) return missing ? Status::Ok() : status;
    const std::string difference = FirstDifference(narrow, file_.Layout());
    if (difference.empty() || FirstDifference(wide, file_.Layout()).empty()) return Status::Ok();
    return Status::Error(Fail::kBadData, path_ + " is not the table that Vantry writes: " + difference);
  }

  // As RowBlocks::Read.
  template <class Take>
  Status Read(size_t rows, const Take& take, bool& more) {
    return blocks_.Read(file_, rows, take, more);
  }

  const TableSchema& Schema() const { return schema_; }
  const RowLayout& Layout() const { return file_.Layout(); }

 private:
  const TableSchema& schema_;
  std::string path_;
  DbfFile file_;
  RowBlocks blocks_;
};

class FileWalk final : public RowWalk {
 public:
  FileWalk(DataFiles& files, const std::string& folder, HistoryTable table) : rows_(files, folder, table) {}

  Status Step(size_t rows, const Take& take) override {
    if (ended_) return Status::Ok();
    ended_ = true;
    if (!open_) {
      bool missing = false;
      if (Status status = rows_.Open(missing); !status.ok() || missing) return status;
      open_ = true;
    }
    bool more = false;
    const Status status = rows_.Read(rows, take, more);
    ended_ = !more;
    return status;
  }

 private:
  FileRows rows_;
  bool open_ = false;
};

// Collects the wanted rows of the whole file, puts them in order, and gives them out.
class SortedFileWalk final : public RowWalk {
 public:
  SortedFileWalk(DataFiles& files, const std::string& folder, HistoryTable table, size_t key,
                 std::vector<std::string> begin)
      : rows_(files, folder, table), key_place_(key), begin_(std::move(begin)) {}

  Status Step(size_t rows, const Take& take) override {
    if (ended_) return Status::Ok();
    ended_ = true;
    if (!open_) {
      bool missing = false;
      if (Status status = Open(missing); !status.ok() || missing) return status;
      open_ = true;
    }
    if (!sorted_) {
      bool more = false;
      if (Status status = rows_.Read(
              rows, [this](const RowView& row) { Keep(row); }, more);
          !status.ok()) {
        return status;
      }
      ended_ = false;
      if (!more) Sort();
      return Status::Ok();
    }
    const size_t row_bytes = rows_.Layout().row_bytes;
    for (; rows > 0 && at_ < order_.size(); --rows, ++at_) {
      take({rows_.Layout(), bytes_.data() + order_[at_] * row_bytes});
    }
    ended_ = at_ == order_.size();
    return Status::Ok();
  }

 private:
  Status Open(bool& missing) {
    Status status = rows_.Open(missing);
    if (missing || !status.ok()) return status;
    status = ParseKey(rows_.Schema().keys[key_place_], rows_.Layout(), key_);
    const std::vector<std::string_view> parts(begin_.begin(), begin_.end());
    if (status.ok()) key_.expression.AppendParts(parts, wanted_);
    return status;
  }

  void Keep(const RowView& row) {
    scratch_.clear();
    key_.expression.AppendKey(row.row, scratch_);
    if (!StartsWith(scratch_, wanted_)) return;
    keys_ += scratch_;
    bytes_.append(row.row, rows_.Layout().row_bytes);
  }

  // Equal keys stay in the order of their rows.
  void Sort() {
    const size_t key_bytes = key_.expression.KeyBytes();
    order_.resize(bytes_.size() / rows_.Layout().row_bytes);
    for (size_t i = 0; i < order_.size(); ++i) order_[i] = static_cast<uint32_t>(i);
    std::stable_sort(order_.begin(), order_.end(), [&](uint32_t a, uint32_t b) {
      if (key_.descending) std::swap(a, b);
      return std::memcmp(keys_.data() + a * key_bytes, keys_.data() + b * key_bytes, key_bytes) < 0;
    });
    keys_ = {};
    sorted_ = true;
  }

  FileRows rows_;
  size_t key_place_;
  std::vector<std::string> begin_;
  KeyDeclaration key_;
  std::string wanted_, scratch_;
  std::string keys_, bytes_;     // Of the rows kept, one after the other.
  std::vector<uint32_t> order_;  // Their places, once sorted.
  size_t at_ = 0;
  bool open_ = false, sorted_ = false;
};

}  // namespace

std::unique_ptr<RowWalk> TableFiles::InOrder(HistoryTable table, size_t key, std::vector<std::string> begin) {
  return std::make_unique<SortedFileWalk>(files_, folder_, table, key, std::move(begin));
}

std::unique_ptr<RowWalk> TableFiles::All(HistoryTable table) {
  return std::make_unique<FileWalk>(files_, folder_, table);
}

}  // namespace vantry
