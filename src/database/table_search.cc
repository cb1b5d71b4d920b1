// Searches and steps of a table.
#include "core/text.h"
#include "database/table.h"

namespace vantry {

void Table::SelectKey(size_t key) {
  if (key >= keys_.size() || key == selected_) return;
  selected_ = key;
  if (current_ != 0) StoredKey(keys_[key], old_row_.data(), current_, position_);
}

std::string_view Table::Key(std::span<const std::string_view> parts) {
  key_text_.clear();
  if (IsOpen()) keys_[selected_].declaration.expression.AppendParts(parts, key_text_);
  return key_text_;
}

// The row must have the key that led to it, or the index is not of this table. A failure changes neither the current
// record nor the buffer.
Status Table::Load(const FoundKey& found) {
  if (found.row == current_ && found.key == position_) {
    row_ = old_row_;
    return Status::Ok();
  }
  read_row_.resize(file_.Layout().row_bytes);
  Status status = file_.Read(found.row, read_row_.data());
  if (status.fail == Fail::kNotFound) status.fail = Fail::kBadData;
  if (!status.ok()) return status;
  StoredKey(keys_[selected_], read_row_.data(), found.row, scratch_);
  if (scratch_ != found.key) return Status::Error(Fail::kBadData, "the index of " + name_ + " does not fit its rows");
  row_ = old_row_ = read_row_;
  current_ = found.row;
  position_ = found.key;
  return status;
}

// Finds an entry and makes its row the current record. With a `prefix`, the first entry that begins with it; for kAfter
// the first of those after `stored`.
int Table::Search(Seek how, const std::string& stored, std::string_view prefix) {
  if (!IsOpen()) return Failed(Status::Error(Fail::kIo, name_ + " is not open"));
  const std::string_view after = how == Seek::kAfter ? std::string_view(stored) : std::string_view();
  Status status;
  for (int attempt = 1; attempt <= 2; ++attempt) {
    const int tree = keys_[selected_].tree;
    status = prefix.empty() ? connection_.Index().Find(tree, how, stored, found_)
                            : connection_.Index().FindBeginning(tree, prefix, found_, after);
    if (status.ok()) status = Load(found_);
    if (status.fail != Fail::kBadData || attempt == 2) break;
    if (Status built = connection_.BuildAnew(); !built.ok()) return Failed(std::move(built));
  }
  if (status.fail == Fail::kNotFound) return Done(kNotFound);
  return status.ok() ? Done(kOk) : Failed(std::move(status));
}

// Makes this row the current record if its stored key begins with this text. With a whole key, no other row does.
bool Table::LoadFrom(uint32_t row, const std::string& beginning) {
  if (row != 0 && row == current_ && StartsWith(position_, beginning)) {
    row_ = old_row_;
    return true;
  }
  read_row_.resize(file_.Layout().row_bytes);
  if (row == 0 || row > file_.Rows() || !file_.Read(row, read_row_.data()).ok()) return false;
  if (read_row_[0] != dbf::kLiving) return false;
  StoredKey(keys_[selected_], read_row_.data(), row, scratch_);
  if (!StartsWith(scratch_, beginning)) return false;
  row_ = old_row_ = read_row_;
  current_ = row;
  position_ = scratch_;
  return true;
}

int Table::FindEqual(std::string_view text, uint32_t row) {
  missing_.clear();
  if (!IsOpen()) return Search(Seek::kEqual, {});
  const TableKey& key = keys_[selected_];
  if (text.size() != key.declaration.expression.KeyBytes()) return Done(kNotFound);
  StoredText(key, text, sought_);
  if (!key.declaration.unique) return Search(Seek::kAtOrAfter, sought_, sought_);
  if (current_ != 0 && position_ == sought_) {
    // Successive operations often ask for the same record.
    row_ = old_row_;
    return Done(kOk);
  }
  if (selected_ == 0 && !absent_.empty() && StartsWith(sought_, absent_)) {
    missing_ = sought_;
    return Done(kNotFound);
  }
  if (LoadFrom(row, sought_)) return Done(kOk);
  if (Search(Seek::kEqual, sought_) == kNotFound && selected_ == 0) missing_ = sought_;
  return last_status_;
}

int Table::FindBeginning(std::string_view text) {
  if (!IsOpen()) return Search(Seek::kAtOrAfter, {});
  StoredText(keys_[selected_], text, sought_);
  if (selected_ == 0 && LoadFrom(first_rows_.Find(sought_), sought_)) return Done(kOk);
  const int found = Search(Seek::kAtOrAfter, sought_, sought_);
  if (selected_ == 0 && found == kNotFound) absent_ = sought_;
  if (selected_ == 0 && found == kOk) first_rows_.Set(sought_, current_);
  return found;
}

int Table::NextBeginning(std::string_view text) {
  if (current_ == 0) return Step(1);
  StoredText(keys_[selected_], text, sought_);
  const std::string from = position_;
  return Search(Seek::kAfter, from, sought_);
}

int Table::NextBeginning(std::string_view text, const std::string& position) {
  if (!IsOpen()) return Search(Seek::kAfter, {});
  StoredText(keys_[selected_], text, sought_);
  return Search(Seek::kAfter, position, sought_);
}

int Table::FindNearest(std::string_view text) {
  if (!IsOpen()) return Search(Seek::kAtOrAfter, {});
  std::string stored;
  StoredText(keys_[selected_], text, stored);
  if (Search(Seek::kAtOrAfter, stored) != kNotFound) return last_status_;
  if (Search(Seek::kBefore, stored) != kOk) return last_status_;
  return Done(kNotFound);
}

int Table::Step(int direction) {
  if (current_ == 0) return IsOpen() ? Done(kNotFound) : Search(Seek::kAfter, {});
  const std::string from = position_;
  return Search(direction < 0 ? Seek::kBefore : Seek::kAfter, from);
}

}  // namespace vantry
