// A table as a model that is simple enough to be right: rows in a map, each key a sorted map.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "core/text.h"
#include "database/schema.h"
#include "database/table.h"

namespace vantry {

// Texts are of the full width of their fields.
class ModelTable {
 public:
  using Row = std::vector<std::string>;
  struct Record {
    Row row;
    uint32_t place = 0;  // In the file, by which equal keys are ordered.
  };

  explicit ModelTable(const TableSchema& schema) {
    for (const std::string& text : schema.fields) {
      const auto parts = Split(text, '|');
      fields_.push_back({std::string(parts[0]), parts[1][0], static_cast<size_t>(LeadingNumber(parts[2]))});
    }
    for (const std::string& text : schema.keys) {
      const auto parts = Split(text, '|');
      const auto part = [&](size_t i) { return i < parts.size() ? parts[i] : ""; };
      keys_.push_back({{}, part(3) == "U", part(4) == "D"});
      for (const std::string_view piece : Split(parts[1], '+')) keys_.back().pieces.emplace_back(Trim(piece));
    }
    orders_.resize(keys_.size());
    ClearBuffer();
  }

  size_t Fields() const { return fields_.size(); }
  char Type(size_t field) const { return fields_[field].type; }
  size_t Width(size_t field) const { return fields_[field].width; }
  size_t Keys() const { return keys_.size(); }
  const std::map<std::string, uint32_t>& Order(size_t key) const { return orders_[key]; }
  const std::map<uint32_t, Record>& Records() const { return records_; }
  bool HasNumber() const { return fields_[0].name == "RecordNo"; }

  Row buffer;
  size_t selected = 0;
  uint32_t current = 0;
  uint32_t places = 0;  // Rows in the file.

  void ClearBuffer() {
    buffer.clear();
    for (const Field& field : fields_) buffer.emplace_back(field.width, ' ');
  }
  void SetText(size_t field, const std::string& text) {
    buffer[field] = text.substr(0, Width(field));
    buffer[field].resize(Width(field), ' ');
  }
  void SetNumber(size_t field, int64_t number) {
    const std::string digits = std::to_string(number);
    buffer[field] = digits.size() > Width(field) ? std::string(Width(field), '*')
                                                 : std::string(Width(field) - digits.size(), ' ') + digits;
  }
  std::string KeyText(size_t key, const Row& row) const {
    std::string text;
    for (const std::string& piece : keys_[key].pieces) text += PieceText(piece, row);
    return text;
  }

  int FindEqual(const std::string& text) {
    if (text.size() != KeyText(selected, buffer).size()) return Table::kNotFound;
    const std::string stored = Turned(selected, text);
    const auto at = orders_[selected].lower_bound(stored);
    if (at == orders_[selected].end() || at->first.compare(0, stored.size(), stored) != 0) return Table::kNotFound;
    return Load(at->second);
  }
  int FindNearest(const std::string& text) {
    const auto& order = orders_[selected];
    const auto at = order.lower_bound(Turned(selected, text));
    if (at != order.end()) return Load(at->second);
    if (!order.empty()) Load(std::prev(order.end())->second);
    return Table::kNotFound;
  }
  int FindBeginning(const std::string& text) {
    const std::string beginning = Turned(selected, text);
    const auto at = orders_[selected].lower_bound(beginning);
    return at != orders_[selected].end() && at->first.starts_with(beginning) ? Load(at->second) : Table::kNotFound;
  }
  int Step(int direction) {
    if (current == 0) return Table::kNotFound;
    const auto& order = orders_[selected];
    const auto at = order.find(Stored(selected, records_.at(current)));
    if (direction < 0) return at == order.begin() ? Table::kNotFound : Load(std::prev(at)->second);
    return std::next(at) == order.end() ? Table::kNotFound : Load(std::next(at)->second);
  }
  int Insert() {
    BlankNuls();
    if (HasNumber()) buffer[0] = PadNumber(next_, 9);
    const Record record{buffer, places + 1};
    if (Taken(record, 0)) return Table::kDuplicate;
    ++places;
    current = next_++;
    Add(current, record);
    return Table::kOk;
  }
  int Update() {
    if (current == 0) return Table::kNotFound;
    BlankNuls();
    if (HasNumber()) buffer[0] = records_.at(current).row[0];
    const Record record{buffer, records_.at(current).place};
    if (Taken(record, current)) return Table::kDuplicate;
    Remove(current);
    Add(current, record);
    return Table::kOk;
  }
  int Delete() {
    if (current == 0) return Table::kNotFound;
    buffer = records_.at(current).row;
    Remove(current);
    current = 0;
    return Table::kOk;
  }

 private:
  struct Field {
    std::string name;
    char type;
    size_t width;
  };
  struct Key {
    std::vector<std::string> pieces;
    bool unique, descending;
  };
  const std::string& FieldText(const std::string& name, const Row& row) const {
    for (size_t i = 0; i < fields_.size(); ++i) {
      if (fields_[i].name == name) return row[i];
    }
    std::abort();
  }
  std::string PieceText(const std::string& piece, const Row& row) const {
    if (piece.starts_with("DTOS(")) return FieldText(piece.substr(5, piece.size() - 6), row);
    if (!piece.starts_with("STR(")) return FieldText(piece, row);
    const size_t comma = piece.find(',');
    const auto width = static_cast<size_t>(LeadingNumber(piece.substr(comma + 1)));
    const std::string number(Trim(FieldText(piece.substr(4, comma - 4), row)));
    return number.size() > width ? std::string(width, '*') : std::string(width - number.size(), ' ') + number;
  }
  std::string Turned(size_t key, std::string text) const {
    if (keys_[key].descending) {
      for (char& c : text) c = static_cast<char>(255 - static_cast<unsigned char>(c));
    }
    return text;
  }
  std::string Stored(size_t key, const Record& record) const {
    std::string stored = Turned(key, KeyText(key, record.row));
    if (keys_[key].unique) return stored;
    for (int shift = 24; shift >= 0; shift -= 8) stored += static_cast<char>(record.place >> shift & 255);
    return stored;
  }
  bool Taken(const Record& record, uint32_t by_other_than) const {
    for (size_t key = 0; key < keys_.size(); ++key) {
      const auto at = orders_[key].find(Stored(key, record));
      if (keys_[key].unique && at != orders_[key].end() && at->second != by_other_than) return true;
    }
    return false;
  }
  void Add(uint32_t number, const Record& record) {
    records_[number] = record;
    for (size_t key = 0; key < keys_.size(); ++key) orders_[key][Stored(key, record)] = number;
  }
  void Remove(uint32_t number) {
    for (size_t key = 0; key < keys_.size(); ++key) orders_[key].erase(Stored(key, records_.at(number)));
    records_.erase(number);
  }
  int Load(uint32_t number) {
    current = number;
    buffer = records_.at(number).row;
    return Table::kOk;
  }
  void BlankNuls() {
    for (std::string& text : buffer) std::replace(text.begin(), text.end(), '\0', ' ');
  }

  std::vector<Field> fields_;
  std::vector<Key> keys_;
  std::map<uint32_t, Record> records_;  // By the number of the record, which counts on where no field holds it.
  std::vector<std::map<std::string, uint32_t>> orders_;
  uint32_t next_ = 1;
};

}  // namespace vantry
