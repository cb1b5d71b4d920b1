// The options: what can be edited of the settings, what has to hold, and what an edit does.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"
#include "forms/form_field.h"
#include "ports/files.h"

namespace vantry {

// A page of the options: its command, its caption, the line below it that says what it is for, and its page of the
// help.
struct SettingsPage {
  std::string_view section, command, caption, help, topic;
};
extern const std::span<const SettingsPage> kSettingsPages;

// `page` of these is the command of the page.
extern const std::span<const FormField<Settings>> kSettingsFields;
// The colours of pages for browsers.
extern const std::span<const FormField<Settings>> kWebColours;

// Which controls apply only while a check box is on, or a radio button has this place.
struct Enabling {
  std::string_view control;
  bool when;
  std::string_view depends;
};
extern const std::span<const Enabling> kEnablings;

// Cuts blanks off the texts, and puts what is out of range back without a word.
void TidySettings(Settings& draft);
// The first thing that keeps this draft from being stored, in the order in which people are told.
std::optional<FormProblem> CheckSettings(const Settings& draft, Files& files);
// Copies all that the options edit, the lists included.
void StoreSettings(const Settings& draft, Settings& settings);

// The file of search engines for this list. A line of the file before that names the same engine stays as it is, as
// lines may say more than the list shows.
std::string RewriteSearchEngines(std::string_view before, const std::vector<SearchEngine>& engines);
// The lists that people typed, without empty rows, cut to what they can hold.
std::vector<SearchEngine> TypedEngines(std::span<const std::string> names, std::span<const std::string> matches);
std::vector<std::string> TypedExtensions(std::span<const std::string> rows);

// One exception type.
extern const std::span<const FormField<ExceptionType>> kExceptionFields;
// With its value in the place of "[value]".
std::string ShownDescription(const ExceptionType& type);
// Cuts blanks off the texts, and writes a number as the file does.
void TidyExceptionType(ExceptionType& draft);
std::optional<FormProblem> CheckExceptionType(const ExceptionType& draft, Files& files);

}  // namespace vantry
