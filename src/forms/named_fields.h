// Fields by the names that the files have for them: what somebody without a dialog sets as KEY=VALUE, and sees listed.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"
#include "core/tables.h"
#include "forms/form_field.h"

namespace vantry {

struct NamedValue {
  std::string key, value;
};

template <class Rec>
using FieldList = std::vector<const FormField<Rec>*>;

// All fields with a key: those of the dialog's rows, then what its lists and buttons edit. Lists are one text, with ";"
// between their entries.
FieldList<SiteRec> NamedSiteFields();
FieldList<Settings> NamedSettings();
FieldList<ExceptionType> NamedExceptionFields();
FieldList<AlertRec> NamedAlertFields();

// Longer values could not be shown in a dialog again.
inline constexpr size_t kMostValueBytes = 10'000;
// What to say of one that is; empty if it is not.
std::string TooLong(std::string_view text);

// The value as its file writes it.
std::string ValueText(const FieldLook& look, const FieldValue& value);

// Reads a value as its file does, but for what would be read leniently there: a number must be whole and not below 0, a
// choice one of those a dialog offers. `value` holds one of the field's type. Returns what is wrong; empty if nothing.
std::string ReadValue(const FieldLook& look, std::string_view text, FieldValue& value);

// The one of these names that is most like the text, or empty if none is much like it.
std::string_view NearestName(std::string_view text, const std::vector<std::string_view>& names);

// What to say of a key that is not there.
std::string NoSuchKey(std::string_view key, const std::vector<std::string_view>& names);

template <class Rec>
std::vector<std::string_view> KeysOf(const FieldList<Rec>& fields) {
  std::vector<std::string_view> keys;
  keys.reserve(fields.size());
  for (const FormField<Rec>* field : fields) keys.push_back(field->key);
  return keys;
}

// Compares without regard to case.
bool IsKey(std::string_view key, std::string_view typed);

template <class Rec>
const FormField<Rec>* FindNamed(const FieldList<Rec>& fields, std::string_view key) {
  for (const FormField<Rec>* field : fields) {
    if (IsKey(field->key, key)) return field;
  }
  return nullptr;
}

// Sets one field. Returns what is wrong, with the key in front; empty if nothing.
template <class Rec>
std::string SetNamed(const FieldList<Rec>& fields, const NamedValue& named, Rec& record) {
  const FormField<Rec>* field = FindNamed(fields, named.key);
  if (!field) return NoSuchKey(named.key, KeysOf(fields));
  FieldValue value = field->get(record);
  if (std::string wrong = ReadValue(field->look, named.value, value); !wrong.empty()) {
    return std::string(field->key) + ": " + wrong;
  }
  field->set(record, value);
  return {};
}

}  // namespace vantry
