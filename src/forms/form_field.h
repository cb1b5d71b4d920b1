// What a dialog edits, as rows: which control shows which field of which record. Dialogs are built, filled and stored
// from them, and tests walk them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace vantry {

// kRadio is a choice with all of its entries in sight.
enum class FieldKind : uint8_t { kText, kPassword, kCheck, kChoice, kRadio, kNumber, kNote };

// An entry of a list, and what is stored for it.
struct Choice {
  std::string_view text;
  int32_t value;
};

using FieldValue = std::variant<std::string, bool, int32_t>;

struct FieldLook {
  std::string_view page;
  std::string_view control;
  std::string_view caption;  // With "&" before its mnemonic, and "&&" for one that shows. The text of a note.
  FieldKind kind = FieldKind::kText;
  std::span<const Choice> choices{};
  std::string_view unit{};  // Shown after the control.
  bool is_time = false;     // The number is a time of day, in seconds.
};

// A note has neither `get` nor `set`.
template <class Rec>
struct FormField {
  FieldLook look;
  FieldValue (*get)(const Rec& record) = nullptr;
  void (*set)(Rec& record, const FieldValue& value) = nullptr;
  std::string_view key{};  // Its name in the file, and for those who type names. Empty if there it has none.
};

template <auto Member>
struct FieldOf;

template <class Rec, class T, T Rec::*Member>
struct FieldOf<Member> {
  using Record = Rec;
  static FieldValue Get(const Rec& record) {
    if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, bool>) {
      return record.*Member;
    } else {
      return static_cast<int32_t>(record.*Member);
    }
  }
  static void Set(Rec& record, const FieldValue& value) {
    if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, bool>) {
      record.*Member = std::get<T>(value);
    } else {
      record.*Member = static_cast<T>(std::get<int32_t>(value));
    }
  }
};

template <auto Member>
constexpr auto Edits(std::string_view key, FieldLook look) {
  return FormField<typename FieldOf<Member>::Record>{look, &FieldOf<Member>::Get, &FieldOf<Member>::Set, key};
}
template <auto Member>
constexpr auto Edits(FieldLook look) {
  return Edits<Member>({}, look);
}

// Why a dialog can't be confirmed, and the control that has to be changed. With `asks` it may be after all, if
// somebody says yes to the text.
struct FormProblem {
  std::string_view control;
  std::string text;
  bool asks = false;
  bool warns = false;  // The message is a warning, not a plain one.
};

}  // namespace vantry
