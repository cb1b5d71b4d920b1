// SETTINGS.INI and the files read along with it: EXTYPES.INI, "Search engines.txt" and "Countries.txt".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"
#include "config/value_forms.h"
#include "core/tables.h"
#include "ports/files.h"

namespace vantry {

// In the data folder.
inline constexpr char kSearchEnginesFile[] = "Search engines.txt";
inline constexpr char kCountriesFile[] = "Countries.txt";

// Reads the bytes of SETTINGS.INI over the values that stand in `settings`; does not touch the extension defaults.
std::optional<ReadProblem> ParseSettings(std::string_view bytes, Settings& settings);
std::string FormatSettings(const Settings& settings);

// The tables of the two text files; search engines replace what is there, countries are added to it. Every line counts,
// the last one too.
void ParseSearchEngines(std::string_view bytes, Settings& settings);
void ParseCountries(std::string_view bytes, std::vector<CountryEntry>& countries);

// Reads SETTINGS.INI and EXTYPES.INI from the program folder, then the two text files from the data folder, in this
// order. A file that is not there leaves its defaults. A failure ends the reading at once: what was read stays, and
// neither later files nor the default extensions follow. Returns what there is to tell, each with the file's path in
// front: last lines that were not read, and the failure that ended the reading. With `one_data_folder` the data folder
// that SETTINGS.INI names is a folder as DataFolderOf gives it, else it stands as it was written.
std::vector<std::string> ReadSettingsINI(Files& files, const std::string& app_path, Settings& settings,
                                         std::vector<CountryEntry>& countries, bool one_data_folder = false);

// The data folder that the bytes of SETTINGS.INI name, with "/" at its end; `otherwise` if they name none.
std::string DataFolderOf(std::string_view bytes, const std::string& otherwise);

// Writes SETTINGS.INI, then EXTYPES.INI. The first failure ends the writing.
Status WriteSettingsINI(Files& files, const std::string& app_path, const Settings& settings);

}  // namespace vantry
