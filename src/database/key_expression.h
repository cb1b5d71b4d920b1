// Index keys: declarations of the form "name|expression|filter|U or N|D", and the expressions in them. An expression
// joins parts with "+": a text field by its name, DTOS(date field), which is yyyymmdd, or STR(number field, width),
// which is the number at the right of `width` characters (the dBase functions of these names). All keys of one
// expression have the same length.
#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"
#include "database/dbf_format.h"

namespace vantry {

class KeyExpression {
 public:
  // Fails with what can't be read, an unknown field or a field of the wrong type.
  static Status Parse(std::string_view text, const RowLayout& layout, KeyExpression& expression);

  size_t KeyBytes() const { return key_bytes_; }
  // Appends the key of this row.
  void AppendKey(const char* row, std::string& key) const;
  // Appends the key made of values of the first parts, in order: each cut to the part's width or filled with blanks.
  void AppendParts(std::span<const std::string_view> values, std::string& key) const;
  void AppendParts(std::initializer_list<std::string_view> values, std::string& key) const {
    AppendParts(std::span(values.begin(), values.size()), key);
  }

 private:
  struct Part {
    size_t offset = 0, width = 0;  // Of the field in the row.
    size_t key_width = 0;          // Of the part in the key.
    bool right = false;            // At the right of its part, as numbers are.
  };
  static Status ParsePart(std::string_view text, const RowLayout& layout, Part& part);
  std::vector<Part> parts_;
  size_t key_bytes_ = 0;
};

struct KeyDeclaration {
  std::string name;
  KeyExpression expression;
  bool unique = false;
  bool descending = false;
};

// Trailing parts of the text may be missing. Filters are not known here and must be empty.
Status ParseKey(std::string_view text, const RowLayout& layout, KeyDeclaration& key);

}  // namespace vantry
