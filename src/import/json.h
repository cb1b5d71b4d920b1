// A JSON text as a tree.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantry {

struct JsonMember;

struct JsonValue {
  enum class Kind { kNothing, kText, kOther, kList, kObject } kind = Kind::kNothing;
  std::string text = {};            // Of kText what it says, of kOther (numbers, true, false, null) as it is written.
  std::vector<JsonMember> members;  // Of kObject; of kList without names.

  // The member of this name; one of kNothing if there is none, whatever this is.
  const JsonValue& operator[](std::string_view name) const;
};

struct JsonMember {
  std::string name;
  JsonValue value;
};

// Returns false if the text is not JSON, or nests deeper than 64 times. Names that come twice are kept twice.
bool ParseJson(std::string_view text, JsonValue& value);

}  // namespace vantry
