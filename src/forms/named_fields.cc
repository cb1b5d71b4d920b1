#include "forms/named_fields.h"

#include <algorithm>
#include <numeric>

#include "config/value_forms.h"
#include "core/date_time.h"
#include "core/text.h"
#include "forms/alert_form.h"
#include "forms/settings_form.h"
#include "forms/site_form.h"

namespace vantry {
namespace {

std::vector<std::string> Entries(const FieldValue& value) {
  return ExcludedAddresses(std::get<std::string>(value));
}

template <std::vector<std::string> AlertRec::*List>
FieldValue GetEntries(const AlertRec& alert) {
  return ExcludeList(alert.*List);
}
template <std::vector<std::string> AlertRec::*List>
void SetEntries(AlertRec& alert, const FieldValue& value) {
  alert.*List = AlertEntries(Entries(value));
}

// What is looked for stays as it is.
void SetEngines(AlertRec& alert, const FieldValue& value) {
  alert.Engine = Entries(value);
}

FieldValue GetExtensions(const Settings& settings) {
  return ExcludeList(settings.Extension);
}
void SetExtensions(Settings& settings, const FieldValue& value) {
  settings.Extension = TypedExtensions(Entries(value));
}

// Entries in the form that the grid stores.
void SetExclude(SiteRec& site, const FieldValue& value) {
  site.Exclude = ExcludeList(Entries(value));
}

const FormField<SiteRec> kMoreOfSite[] = {
    {{"Exclusions", "gridExclude", "Excluded addresses"}, &FieldOf<&SiteRec::Exclude>::Get, &SetExclude, "Exclude"},
    Edits<&SiteRec::Paused>("Paused", {"", "miStop", "S&top Monitoring", FieldKind::kCheck}),
};

const FormField<Settings> kMoreSettings[] = {
    Edits<&Settings::EmailDailyReport>("EmailDailyReport", {"miEmail", "", "", FieldKind::kCheck}),
    {{"miExtensions", "extGrid", "File Types"}, &GetExtensions, &SetExtensions, "Extension"},
};

const FormField<AlertRec> kMoreOfAlert[] = {
    {{"DNS", "gridDNS", "DNS or IP Address"}, &GetEntries<&AlertRec::DNS>, &SetEntries<&AlertRec::DNS>, "DNS"},
    {{"Keywords", "gridWORDS", "Keyword"}, &GetEntries<&AlertRec::Word>, &SetEntries<&AlertRec::Word>, "Word"},
    {{"Pages", "gridPAGES", "Page"}, &GetEntries<&AlertRec::Page>, &SetEntries<&AlertRec::Page>, "Page"},
    {{"Referrers", "listRef", "Referrers"}, &GetEntries<&AlertRec::Engine>, &SetEngines, "Engine"},
    Edits<&AlertRec::EngineAll>("EngineAll", {"Referrers", "listRef", "[Anywhere]", FieldKind::kCheck}),
    Edits<&AlertRec::Color>("Color", {"General", "lblForeColor", "&Color...", FieldKind::kNumber}),
};

template <class Rec>
void AppendNamed(std::span<const FormField<Rec>> rows, FieldList<Rec>& fields) {
  for (const FormField<Rec>& row : rows) {
    if (!row.key.empty()) fields.push_back(&row);
  }
}

template <class Rec>
FieldList<Rec> ListOf(std::initializer_list<std::span<const FormField<Rec>>> tables) {
  FieldList<Rec> fields;
  for (const auto& rows : tables) AppendNamed(rows, fields);
  return fields;
}

std::string Quoted(std::string_view text) {
  return "'" + std::string(text.substr(0, 80)) + "'";
}

std::string ReadNumber(const FieldLook& look, std::string_view text, FieldValue& value) {
  if (look.is_time) {
    const auto time = ParseTime(text);
    if (!time) return Quoted(text) + " is not a time of day like 02:00:00.";
    value = *time;
    return {};
  }
  const std::string_view digits = Trim(text);
  const auto number = ParseLong(digits);
  const bool is_plain = !digits.empty() && std::all_of(digits.begin(), digits.end(), IsDigit);
  if (!number || !is_plain) return Quoted(text) + " is not a whole number from 0 to 2147483647.";
  const int32_t wanted = *number;
  const auto is_it = [wanted](const Choice& choice) { return choice.value == wanted; };
  if (!look.choices.empty() && std::none_of(look.choices.begin(), look.choices.end(), is_it)) {
    std::string offered;
    for (const Choice& choice : look.choices) offered += (offered.empty() ? "" : ", ") + std::to_string(choice.value);
    return Quoted(text) + " is not one of " + offered + ".";
  }
  value = wanted;
  return {};
}

// How many characters have to be put in, taken out or changed to make one of the other.
size_t Distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < a.size(); ++i) {
    size_t corner = row[0]++;
    for (size_t j = 0; j < b.size(); ++j) {
      const size_t changed = corner + (a[i] == b[j] ? 0 : 1);
      corner = row[j + 1];
      row[j + 1] = std::min({changed, corner + 1, row[j] + 1});
    }
  }
  return row.back();
}

}  // namespace

FieldList<SiteRec> NamedSiteFields() {
  return ListOf<SiteRec>({kSiteFields, kMoreOfSite});
}
FieldList<Settings> NamedSettings() {
  return ListOf<Settings>({kSettingsFields, kMoreSettings, kWebColours});
}
FieldList<ExceptionType> NamedExceptionFields() {
  return ListOf<ExceptionType>({kExceptionFields});
}
FieldList<AlertRec> NamedAlertFields() {
  return ListOf<AlertRec>({kAlertFields, kMoreOfAlert});
}

std::string ValueText(const FieldLook& look, const FieldValue& value) {
  if (const auto* on = std::get_if<bool>(&value)) return std::string(BoolText(*on));
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  const int32_t number = std::get<int32_t>(value);
  return look.is_time ? FormatTime(number) : std::to_string(number);
}

std::string TooLong(std::string_view text) {
  if (text.size() <= kMostValueBytes) return {};
  return "A value takes " + std::to_string(kMostValueBytes) + " bytes at most, not " + std::to_string(text.size()) +
         ".";
}

std::string ReadValue(const FieldLook& look, std::string_view text, FieldValue& value) {
  if (std::string wrong = TooLong(text); !wrong.empty()) return wrong;
  if (std::holds_alternative<int32_t>(value)) return ReadNumber(look, text, value);
  if (std::holds_alternative<std::string>(value)) {
    value = std::string(text);
    return {};
  }
  const auto on = ParseBool(text);
  if (!on) return Quoted(text) + " is neither True nor False.";
  value = *on;
  return {};
}

std::string_view NearestName(std::string_view text, const std::vector<std::string_view>& names) {
  constexpr size_t kMostCompared = 100;
  const std::string typed = Lower(text.substr(0, kMostCompared));
  std::string_view nearest;
  size_t least = 1 + std::max<size_t>(2, typed.size() / 3);
  for (const std::string_view name : names) {
    const size_t distance = Distance(typed, Lower(name));
    if (distance >= least) continue;
    least = distance;
    nearest = name;
  }
  return nearest;
}

std::string NoSuchKey(std::string_view key, const std::vector<std::string_view>& names) {
  const std::string_view nearest = NearestName(key, names);
  return "There is no key " + Quoted(key) + (nearest.empty() ? "." : "; did you mean " + std::string(nearest) + "?");
}

bool IsKey(std::string_view key, std::string_view typed) {
  return EqualsNoCase(key, Trim(typed));
}

}  // namespace vantry
