// Whether the files keep what a dialog holds: what the next start would read otherwise must not be stored.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/text.h"
#include "forms/form_field.h"

namespace vantry {

// Cuts blanks off both ends of all texts but passwords: the files do so.
template <class Rec>
void TrimTexts(std::span<const FormField<Rec>> fields, Rec& record) {
  for (const FormField<Rec>& field : fields) {
    if (!field.get || field.look.kind != FieldKind::kText) continue;
    const FieldValue value = field.get(record);
    const auto& text = std::get<std::string>(value);
    if (Trim(text).size() != text.size()) field.set(record, std::string(Trim(text)));
  }
}

// The first field that is another one in `read`, which was read from what `draft` was written as.
template <class Rec>
std::optional<FormProblem> FirstLost(std::span<const FormField<Rec>> fields, const Rec& draft, const Rec& read,
                                     std::string_view file) {
  for (const FormField<Rec>& field : fields) {
    if (!field.get || field.get(draft) == field.get(read)) continue;
    const char* hint = field.look.kind == FieldKind::kPassword ? ", and blanks at its beginning and end." : ".";
    return FormProblem{field.look.control,
                       "The " + std::string(file) + " can't keep this text. Leave out line ends" + hint};
  }
  return std::nullopt;
}

}  // namespace vantry
