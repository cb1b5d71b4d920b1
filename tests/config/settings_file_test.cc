#include "config/settings_file.h"

#include <string>

#include <gtest/gtest.h>

#include "config/golden.h"
#include "core/text.h"
#include "support/memory_files.h"

namespace vantry {
namespace {

struct SettingsBench {
  MemoryFiles files;
  Settings settings;
  std::vector<CountryEntry> countries;
  std::vector<std::string> told;

  SettingsBench() { settings.DDFPath = "/d/"; }
  // The last of what there is to tell: what ended the reading, if anything did.
  std::optional<std::string> Read() {
    told = ReadSettingsINI(files, "/p/", settings, countries);
    return told.empty() ? std::nullopt : std::optional(told.back());
  }
};

TEST(SettingsFile, NoFiles_GiveEveryDefault) {
  SettingsBench b;
  EXPECT_EQ(b.Read(), std::nullopt);
  EXPECT_EQ(b.settings.InactivityMins, 10);
  EXPECT_EQ(b.settings.WebAccessPort, 8004);
  EXPECT_EQ(b.settings.Extension, Settings::DefaultExtensions());
  EXPECT_EQ(b.settings.Extension.size(), 18u);
  EXPECT_EQ(b.settings.ExceptionTypes.size(), 47u);
  EXPECT_EQ(b.settings.SearchEngines.size(), 26u);
  EXPECT_TRUE(b.countries.empty());
  const std::vector<std::string> calls = {"read /p/SETTINGS.INI", "read /p/EXTYPES.INI", "read /d/Search engines.txt",
                                          "read /d/Countries.txt"};
  EXPECT_EQ(b.files.calls, calls);
}

TEST(SettingsFile, Defaults_AreWrittenByteForByte) {
  SettingsBench b;
  b.settings.DDFPath = "/home/v/Data/";
  EXPECT_EQ(b.Read(), std::nullopt);
  b.files.calls.clear();
  EXPECT_TRUE(WriteSettingsINI(b.files, "/p/", b.settings).ok());
  CheckGolden("settings_default.ini", b.files.Get("/p/SETTINGS.INI"));
  CheckGolden("extypes_default.ini", b.files.Get("/p/EXTYPES.INI"));
  const std::vector<std::string> calls = {"replace /p/SETTINGS.INI", "replace /p/EXTYPES.INI"};
  EXPECT_EQ(b.files.calls, calls);
}

TEST(SettingsFile, WrittenFiles_AreReadBackTheSame) {
  SettingsBench b;
  b.files.Put("/p/SETTINGS.INI", Golden("settings_default.ini"));
  b.files.Put("/p/EXTYPES.INI", Golden("extypes_default.ini"));
  EXPECT_EQ(b.Read(), std::nullopt);
  EXPECT_TRUE(WriteSettingsINI(b.files, "/p/", b.settings).ok());
  CheckGolden("settings_default.ini", b.files.Get("/p/SETTINGS.INI"));
  CheckGolden("extypes_default.ini", b.files.Get("/p/EXTYPES.INI"));
}

TEST(SettingsFile, ExtensionLines_ReplaceTheDefaults) {
  SettingsBench b;
  b.files.Put("/p/SETTINGS.INI", "Extension7=JSP\r\nExtension1=do\r\n\r\n");
  EXPECT_EQ(b.Read(), std::nullopt);
  EXPECT_EQ(b.settings.Extension, (std::vector<std::string>{"jsp", "do"}));
}

TEST(SettingsFile, DataFolderOfTheFile_IsWhereTheTextFilesAreLookedFor) {
  SettingsBench b;
  b.files.Put("/p/SETTINGS.INI", "DDFPath=/elsewhere-\r\n\r\n");
  b.files.Put("/elsewhere-Countries.txt", "NO,Norway\r\n");
  EXPECT_EQ(b.Read(), std::nullopt);
  ASSERT_EQ(b.countries.size(), 1u);
  EXPECT_EQ(b.countries[0].Name, "Norway");
}

TEST(SettingsFile, ReadProblem_StopsLaterFilesAndDefaults) {
  struct Case {
    const char* name;
    const char *settings, *types;
    const char* unreadable;
    const char* text_begins;
    size_t types_read, extensions;
    bool engines_read;
  };
  const char* good = "InactivityMins=11\r\n\r\n";
  const char* one_type = "Number=1\r\n\r\n";
  const Case cases[] = {
      {"bad settings", "InactivityMins=11\r\nAutoHide=x\r\n\r\n", one_type, "", "/p/SETTINGS.INI line 2: ", 0, 0,
       false},
      {"bad types", good, "Number=1\r\nRaise=x\r\n\r\n", "", "/p/EXTYPES.INI line 2: ", 1, 18, false},
      {"key before the first type", good, "Raise=True\r\n\r\n", "", "/p/EXTYPES.INI line 1: ", 0, 18, false},
      {"settings can't be read", good, one_type, "/p/SETTINGS.INI", "/p/SETTINGS.INI", 0, 0, false},
      {"types can't be read", good, one_type, "/p/EXTYPES.INI", "/p/EXTYPES.INI", 0, 18, false},
      {"engines can't be read", good, one_type, "/d/Search engines.txt", "/d/Search engines.txt", 1, 18, false},
      {"countries can't be read", good, one_type, "/d/Countries.txt", "/d/Countries.txt", 1, 18, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SettingsBench b;
    b.files.Put("/p/SETTINGS.INI", c.settings);
    b.files.Put("/p/EXTYPES.INI", c.types);
    b.files.Put("/d/Search engines.txt", "One,one.\r\n");
    b.files.Put("/d/Countries.txt", "NO,Norway\r\n");
    if (*c.unreadable) b.files.entries[c.unreadable]->readable = false;
    const auto problem = b.Read();
    ASSERT_TRUE(problem);
    EXPECT_TRUE(StartsWith(*problem, c.text_begins)) << *problem;
    EXPECT_EQ(b.settings.InactivityMins, std::string(c.unreadable) == "/p/SETTINGS.INI" ? 10 : 11);
    EXPECT_EQ(b.settings.ExceptionTypes.size(), c.types_read);
    EXPECT_EQ(b.settings.Extension.size(), c.extensions);
    EXPECT_EQ(b.settings.SearchEngines.size(), c.engines_read ? 1u : 26u);
    EXPECT_TRUE(b.countries.empty());
  }
}

TEST(SettingsFile, LastLineThatIsLost_IsToldAndTheReadingGoesOn) {
  SettingsBench b;
  b.files.Put("/p/SETTINGS.INI", "InactivityMins=11\r\nEmailPassword=secret");
  b.files.Put("/p/EXTYPES.INI", "Number=1\r\nRaise=True");
  EXPECT_TRUE(b.Read());
  ASSERT_EQ(b.told.size(), 2u);
  EXPECT_EQ(
      b.told[0],
      "/p/SETTINGS.INI line 2: the file does not end with an empty line, so its last line (EmailPassword) was not "
      "read. Add an empty line.");
  EXPECT_TRUE(StartsWith(b.told[1], "/p/EXTYPES.INI line 2: ")) << b.told[1];
  EXPECT_EQ(b.settings.InactivityMins, 11);
  EXPECT_EQ(b.settings.EmailPassword, "");
  EXPECT_EQ(b.settings.Extension.size(), 18u);
  for (const char* whole : {"", "\r\n", "InactivityMins=11\r\n\r\n", "InactivityMins=11\n  "}) {
    EXPECT_FALSE(LostLastLine(whole)) << whole;
  }
}

TEST(SettingsFile, SearchEngines_AreTakenFromUsableLines) {
  struct Case {
    const char* name;
    std::string text;
    size_t count;
    const char *first, *last;
  };
  std::string sixty;
  for (int i = 1; i <= 60; ++i) sixty += "E" + std::to_string(i) + ",.e.\r\n";
  const Case cases[] = {{"sixty lines fill fifty places", sixty, 50, "E1", "E50"},
                        {"a single line replaces all", "Only,.only.\r\n", 1, "Only", "Only"},
                        {"last line counts without an end", "A,a\r\nB,b", 2, "A", "B"},
                        {"empty lines and empty fields are skipped", "\r\nA\r\nB,\r\n,c\r\nD,d\r\n", 2, "", "D"},
                        {"further fields are dropped", "A,a,x,y\r\n", 1, "A", "A"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SettingsBench b;
    b.files.Put("/d/Search engines.txt", c.text);
    EXPECT_EQ(b.Read(), std::nullopt);
    ASSERT_EQ(b.settings.SearchEngines.size(), c.count);
    EXPECT_EQ(b.settings.SearchEngines.front().name, c.first);
    EXPECT_EQ(b.settings.SearchEngines.back().name, c.last);
  }
  Settings s;
  ParseSearchEngines("Name,.match.,x", s);
  EXPECT_EQ(s.SearchEngines.at(0).match, ".match.");
  ParseSearchEngines("\r\n", s);
  EXPECT_TRUE(s.SearchEngines.empty());
}

TEST(SettingsFile, DefaultEngines_StandInTheirOrder) {
  const auto engines = Settings::DefaultEngines();
  ASSERT_EQ(engines.size(), 26u);
  EXPECT_EQ(engines[0].match, ".aol.");
  EXPECT_EQ(engines[12].match, ".lycos.");
  EXPECT_EQ(engines[23].name, "Ask Jeeves");
  EXPECT_EQ(engines[23].match, ".ask.c");
  for (const SearchEngine& e : engines) EXPECT_EQ(e.match, Lower(e.match));
}

TEST(SettingsFile, DefaultMasks_AreFiveHostMasksOneWithAQuestionMark) {
  const auto masks = Settings::DefaultMasks();
  int filled = 0, question = 0;
  for (const std::string& mask : masks) {
    if (mask.empty()) continue;
    ++filled;
    question += Contains(mask, "?");
    EXPECT_TRUE(StartsWith(mask, "*."));
  }
  EXPECT_EQ(filled, 5);
  EXPECT_EQ(question, 1);
  EXPECT_FALSE(masks[4].empty());
}

TEST(SettingsFile, Countries_HaveCodesOfTwoCharacters) {
  std::vector<CountryEntry> countries;
  std::vector<std::string> told;
  ParseCountries("NO,Norway\r\n\r\nX,Short\r\nLONG,Long\r\nZZ\r\nSE,Sweden,more", countries);
  ASSERT_EQ(countries.size(), 5u);
  const char* want[][2] = {{"NO", "Norway"}, {"X ", "Short"}, {"LO", "Long"}, {"ZZ", ""}, {"SE", "Sweden"}};
  for (size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(countries[i].Code, want[i][0]);
    EXPECT_EQ(countries[i].Name, want[i][1]);
  }
}

TEST(SettingsFile, FailedWrite_EndsTheWritingAndKeepsTheOldBytes) {
  for (const std::string broken : {"replace /p/SETTINGS.INI", "replace /p/EXTYPES.INI"}) {
    SCOPED_TRACE(broken);
    SettingsBench b;
    b.files.Put("/p/SETTINGS.INI", "old settings");
    b.files.Put("/p/EXTYPES.INI", "old types");
    b.files.fails = [&](const std::string& call) { return call == broken; };
    const Status status = WriteSettingsINI(b.files, "/p/", b.settings);
    EXPECT_EQ(status.fail, Fail::kIo);
    EXPECT_EQ(b.files.Get("/p/EXTYPES.INI"), "old types");
    EXPECT_EQ(b.files.calls.back(), broken);
  }
}

}  // namespace
}  // namespace vantry
