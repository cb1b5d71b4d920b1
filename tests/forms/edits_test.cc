// Changes asked for by name: what they do to the tables, and what keeps them from it.
#include "forms/edits.h"

#include <gtest/gtest.h>

#include "config/settings_file.h"
#include "config/site_file.h"
#include "core/text.h"
#include "support/form_rig.h"

namespace vantry {
namespace {

struct EditsTest : ::testing::Test, FormRig {
  Settings settings;
  std::string told;

  EditsTest() {
    files.Put("/bin/act", "");
    for (SiteRec& site : t.Sites) {
      site.Frequency = 5;
      site.LastReadPos = 77;
      site.CaughtUp = true;
    }
    AddDefaultExTypes(settings.ExceptionTypes);
    settings.Extension = Settings::DefaultExtensions();
  }
  // All that the files would hold.
  std::string Written() {
    return FormatSites(Regional{}, t) + FormatSettings(settings) + FormatExTypes(settings.ExceptionTypes);
  }
  // What was refused has changed nothing. Returns why it was; empty if it was not.
  std::string Edit(EditVerb verb, const std::string& name, const std::vector<NamedValue>& values = {},
                   const std::string& number = "", bool yes = false) {
    const std::string before = Written();
    told.clear();
    const Status status = ApplyEdit({verb, name, number, yes, values}, {t, settings, files, WallTime{5'000}}, told);
    if (status.ok()) return "";
    EXPECT_EQ(Written(), before);
    EXPECT_EQ(told, "");
    EXPECT_EQ(status.fail == Fail::kNone, status.text.empty());
    return status.text;
  }
  std::string SetSite(const std::vector<NamedValue>& values, bool yes = false) {
    return Edit(EditVerb::kSetSite, "One", values, "", yes);
  }
  std::string Set(const std::vector<NamedValue>& values) { return Edit(EditVerb::kSet, "", values); }
  std::string SetException(const std::string& number, const std::vector<NamedValue>& values) {
    return Edit(EditVerb::kSetException, number, values);
  }
  std::string SetAlert(const std::string& number, const std::vector<NamedValue>& values) {
    return Edit(EditVerb::kSetAlert, "One", values, number);
  }
};

TEST_F(EditsTest, ASiteIsSetByTheNamesOfItsFile) {
  EXPECT_EQ(SetSite({{"homepage", " index.php "}, {"FREQUENCY", "60"}, {"SleepStart", "22:30:00"}, {"Unix", "true"}}),
            "");
  EXPECT_EQ(told, "Changed the site 'One'.");
  EXPECT_EQ(t.Site(1).HomePage, "index.php");
  EXPECT_EQ(t.Site(1).Frequency, 60);
  EXPECT_EQ(t.Site(1).SleepStart, 81'000);
  EXPECT_TRUE(t.Site(1).Unix);
  EXPECT_EQ(t.Site(1).LastReadPos, 77);
  EXPECT_EQ(SetSite({{"Exclude", "10.0.0.*; ;10.0.1.1"}}), "");
  EXPECT_EQ(t.Site(1).Exclude, "10.0.0.*;10.0.1.1");
}

TEST_F(EditsTest, ALogFromElsewhereIsReadFromTheBeginning) {
  EXPECT_EQ(SetSite({{"Mask", "other*.log"}}), "");
  EXPECT_EQ(told, "Changed the site 'One'. Its log is read from the beginning.");
  EXPECT_EQ(t.Site(1).LastReadPos, 0);
  EXPECT_EQ(t.Site(2).LastReadPos, 77);
  EXPECT_EQ(SetSite({{"mask", "  "}}), "");
  EXPECT_EQ(t.Site(1).Mask, "*.LOG") << "the usual one in place of none, as the next start reads it";
}

TEST_F(EditsTest, EveryCheckOfTheSiteDialogIsTold) {
  const std::pair<std::vector<NamedValue>, const char*> cases[] = {
      {{{"Folder", ""}}, "Folder: You must specify a log file location."},
      {{{"Folder", "/nowhere"}}, "Folder: Log file folder does not exist."},
      {{{"FTP", "True"}}, "FTPDomain: You must specify an FTP Domain."},
      {{{"Name", " "}}, "Name: You must specify a name."},
      {{{"Domain", ""}}, "Domain: You must specify a domain name."},
      {{{"Domain", "a b"}}, "Domain: The domain name cannot contain spaces."},
      {{{"Touch", "True"}, {"TouchEvery", "1"}}, "TouchEvery: The minimum touch interval is 2 minutes."},
      {{{"Domain", "www.Two.example"}},
       "Domain: This Domain is already being monitored. The Domain name must be unique."},
      {{{"Name", "Three"}},
       "Name: Are you sure you want to change the Site Name? Existing entries in the Vantry database refer to the old "
       "site name. If so, add --yes."},
      {{{"Mask", "a\r\nFolder=/x"}}, "Mask: The site file can't keep this text. Leave out line ends."},
      {{{"Exclude", "a\nb"}}, "Exclude: The site file can't keep these addresses. Leave out line ends."},
      {{{"Msak", "x"}}, "There is no key 'Msak'; did you mean Mask?"},
      {{{"LastReadPos", "0"}}, "There is no key 'LastReadPos'."},
      {{{"", "x"}}, "There is no key ''."},
      {{{"Unix", "Maybe"}}, "Unix: 'Maybe' is neither True nor False."},
      {{{"Type", "6"}}, "Type: '6' is not one of 0, 1, 2, 3, 4, 5."},
      {{{"Frequency", "7"}}, "Frequency: '7' is not one of 5, 10, 30, 60, 120, 300, 600, 900, 1800."},
      {{{"TouchEvery", "5x"}}, "TouchEvery: '5x' is not a whole number from 0 to 2147483647."},
      {{{"TouchEvery", "-1"}}, "TouchEvery: '-1' is not a whole number from 0 to 2147483647."},
      {{{"TouchEvery", "2147483648"}}, "TouchEvery: '2147483648' is not a whole number from 0 to 2147483647."},
      {{{"SleepEnd", "25:00:00"}}, "SleepEnd: '25:00:00' is not a time of day like 02:00:00."},
      {{{"HomePage", std::string(1'000'000, 'a')}}, "HomePage: A value takes 10000 bytes at most, not 1000000."},
  };
  for (const auto& [values, text] : cases) EXPECT_EQ(SetSite(values), text);
  EXPECT_EQ(SetSite({{"Name", "Two"}}, true), "Name: The Site Name must be unique.");
  EXPECT_EQ(SetSite({{"Name", "a\nb"}}, true),
            "Name: The site file can't keep this name. Leave out square brackets and line ends.");
  EXPECT_EQ(SetSite({{"TouchEvery", "32767"}}), "");
  EXPECT_EQ(SetSite({{"Name", "a=b;[c] d"}}, true), "") << "what the file can keep may stand in a name";
  EXPECT_EQ(t.Site(1).Name, "a=b;[c] d");
  EXPECT_EQ(Edit(EditVerb::kSetSite, "A=B;[C] D"), "");
}

TEST_F(EditsTest, ASiteIsFoundByItsName) {
  EXPECT_EQ(Edit(EditVerb::kSetSite, "Twoo"), "There is no site 'Twoo'; did you mean 'Two'?");
  EXPECT_EQ(Edit(EditVerb::kRemoveSite, "Something else"), "There is no site 'Something else'.");
  EXPECT_EQ(FindSite(t, "two"), 2);
  t.Site(1).Name = "TWO";
  EXPECT_EQ(FindSite(t, "two"), 0) << "which one is meant?";
  EXPECT_EQ(FindSite(t, "TWO"), 1);
  t.Site(1).Deleted = true;
  EXPECT_EQ(FindSite(t, "two"), 2);
  t.Sites.clear();
  EXPECT_EQ(Edit(EditVerb::kSetSite, ""), "There is no site ''.");
}

TEST_F(EditsTest, APausedSiteGoesOnAsThoughLookedAtAMinuteAgo) {
  t.Site(1).Sleeping = true;
  EXPECT_EQ(SetSite({{"Paused", "True"}}), "");
  EXPECT_TRUE(t.Site(1).Paused);
  EXPECT_FALSE(t.Site(1).Sleeping) << "it would be woken";
  EXPECT_EQ(SetSite({{"Paused", "False"}}), "");
  EXPECT_FALSE(t.Site(1).Paused);
  EXPECT_EQ(t.Site(1).LastScanTime.s, 4'940);
}

TEST_F(EditsTest, ARemovedSiteLeavesTheFileAndItsDomain) {
  t.CurrentView = 1;
  EXPECT_EQ(Edit(EditVerb::kRemoveSite, "One"), "");
  EXPECT_EQ(told, "Removed the site 'One'. Its history stays.");
  EXPECT_FALSE(Contains(FormatSites(Regional{}, t), "[One]"));
  EXPECT_EQ(t.CurrentView, 0);
  EXPECT_EQ(Edit(EditVerb::kSetSite, "Two", {{"Domain", "www.One.example"}}), "");
  EXPECT_EQ(Edit(EditVerb::kRemoveSite, "One"), "There is no site 'One'.");
}

TEST_F(EditsTest, SettingsAreChecked) {
  EXPECT_EQ(Set({{"InactivityMins", "0"}}), "InactivityMins: Minutes must be greater than zero");
  EXPECT_EQ(Set({{"InactivityMins", "1"}}), "InactivityMins: The Inactivity Minutes must be at least 2");
  EXPECT_EQ(Set({{"DefaultSound", "/no.wav"}}), "DefaultSound: Sound File Does Not Exist");
  EXPECT_EQ(Set({{"WebAccessControl", "True"}}),
            "WebUsername: If you enable web access control you must specify a user name.");
  EXPECT_EQ(Set({{"EmailFrom", "a\r\nb"}}), "EmailFrom: The settings file can't keep this text. Leave out line ends.");
  EXPECT_EQ(Set({{"EmailPassword", "secret "}}),
            "EmailPassword: The settings file can't keep this text. Leave out line ends, and blanks at its beginning "
            "and end.");
  EXPECT_EQ(Set({{"WebColGrid", "a\nb"}}), "WebColGrid: The settings file can't keep this text. Leave out line ends.");
  EXPECT_EQ(Set({{"EmailSever", "x"}}), "There is no key 'EmailSever'; did you mean EmailServer?");
  EXPECT_EQ(Set({{"DDFPath", "/x"}}), "There is no key 'DDFPath'.");
  EXPECT_EQ(Set({{"SMSConnect", "2"}}), "SMSConnect: '2' is not one of 0, 1.");
}

TEST_F(EditsTest, SettingsAreSet) {
  EXPECT_EQ(Set({{"EmailPassword", " secret"}, {"emaildailyreport", "True"}, {"WebColGrid", "#000000"}}), "");
  EXPECT_EQ(told, "Changed the settings.");
  EXPECT_EQ(settings.EmailPassword, " secret") << "the file keeps blanks at the front";
  EXPECT_TRUE(settings.EmailDailyReport);
  EXPECT_EQ(settings.WebColGrid, "#000000");
  EXPECT_EQ(Set({{"WebAccessPort", "99999"}, {"AutoArchiveTime", "03:15:00"}, {"InactivityMins", "32767"}}), "");
  EXPECT_EQ(told, "Changed the settings. The port counts from the next start.");
  EXPECT_EQ(settings.WebAccessPort, 65'535) << "without a word, as the dialog does it";
  EXPECT_EQ(settings.AutoArchiveTime, 11'700);
  EXPECT_EQ(Set({{"Extension", ".PHP; html"}}), "");
  EXPECT_EQ(settings.Extension, (std::vector<std::string>{"php", "html"}));
  EXPECT_EQ(Set({{"Extension", "a\nb"}}),
            "Extension: The settings file can't keep one of these extensions. Leave out line ends.");
}

TEST_F(EditsTest, AnExceptionTypeIsCheckedAndSet) {
  EXPECT_EQ(SetException("999", {}), "There is no exception type '999'.");
  EXPECT_EQ(SetException("x", {}), "There is no exception type 'x'.");
  EXPECT_EQ(SetException("130", {{"RunProgram", "True"}, {"Run", "/no"}}), "Run: EXE or Script File Does Not Exist");
  EXPECT_EQ(SetException("130", {{"SMS", "True"}}),
            "SMSNumber: You must enter a SMS Server address book entry if you enable the SMS option.");
  EXPECT_EQ(SetException("130", {{"Description", "a\nb"}}),
            "Description: The file of exception types can't keep this text. Leave out line ends.");
  EXPECT_EQ(SetException("130", {{"Value", "many"}}),
            "The value 'many' of exception type 130 is no number up to 32767.");
  EXPECT_EQ(SetException("130", {{"EventLevel", "3"}}), "EventLevel: '3' is not one of 4, 2, 1.");
  EXPECT_EQ(SetException("130", {{"Number", "131"}}), "There is no key 'Number'.");
  EXPECT_EQ(SetException("130", {{"value", "0032767"}, {"Run", "/bin/act"}, {"RunProgram", "1"}}), "");
  EXPECT_EQ(told, "Changed the exception type 130: Single visitor on site for more than 32767 minutes");
  EXPECT_EQ(FindExceptionType(settings, "130")->Value, "32767");
  EXPECT_EQ(SetException("110", {{"Value", "32768"}}), "") << "not one that every hit is compared with";
}

TEST_F(EditsTest, AlertsAreAddedChangedAndRemoved) {
  EXPECT_EQ(SetAlert("1", {}), "The site 'One' has no alert '1'; `vantryctl alerts` lists them.");
  EXPECT_EQ(SetAlert("new", {{"EngineAll", "True"}}), "");
  EXPECT_EQ(told, "Added the alert 'Alert 1'.");
  EXPECT_EQ(SetAlert("NEW", {{"Name", "Second"}, {"DNS", "*.Example; 10.0.0.1"}, {"Engine", "google;.yahoo."}}), "");
  ASSERT_EQ(t.Alerts.size(), 2U);
  EXPECT_EQ(t.Alerts[1].DNS, (std::vector<std::string>{"*.example", "10.0.0.1"}));
  EXPECT_EQ(t.Alerts[1].Engine, (std::vector<std::string>{".google.", ".yahoo."}));
  EXPECT_EQ(t.Site(1).AlertDefinitions, 2);
  settings.SearchEngines.clear();
  EXPECT_EQ(SetAlert("2", {{"Message", "m"}}), "") << "what it looks for stays, known or not";
  EXPECT_EQ(t.Alerts[1].Engine.size(), 2U);
  EXPECT_EQ(SetAlert("2", {{"EngineAll", "True"}}), "");
  EXPECT_TRUE(t.Alerts[1].Engine.empty()) << "anywhere takes their place";
  EXPECT_EQ(Edit(EditVerb::kRemoveAlert, "One", {}, "3"),
            "The site 'One' has no alert '3'; `vantryctl alerts` lists them.");
  EXPECT_EQ(Edit(EditVerb::kRemoveAlert, "One", {}, "1"), "");
  EXPECT_EQ(told, "Removed the alert 'Alert 1'.");
  ASSERT_EQ(t.Alerts.size(), 1U);
  EXPECT_EQ(t.Alerts[0].Name, "Second");
}

TEST_F(EditsTest, AlertsAreChecked) {
  EXPECT_EQ(Edit(EditVerb::kSetAlert, "Tree", {}, "new"), "There is no site 'Tree'.");
  EXPECT_EQ(Edit(EditVerb::kRemoveAlert, "Tree", {}, "1"), "There is no site 'Tree'.");
  EXPECT_EQ(SetAlert("new", {{"Name", " "}}), "Name: An Alert must have a name.");
  EXPECT_EQ(SetAlert("new", {{"Sound", "True"}}), "SoundFile: Sound File Does Not Exist");
  EXPECT_EQ(SetAlert("new", {{"RunThis", "True"}, {"Run", "/no"}}), "Run: EXE or Script File Does Not Exist");
  EXPECT_EQ(SetAlert("new", {{"Engine", "Nowhere"}}), "Engine: There is no referring site 'Nowhere'.");
  EXPECT_EQ(SetAlert("new", {{"Page", "a\nb"}}),
            "Page: The site file can't keep one of these entries. Leave out line ends, and referring sites whose text "
            "has one letter.");
  EXPECT_EQ(
      SetSite({{"WebPassword", "b "}}),
      "WebPassword: The site file can't keep this text. Leave out line ends, and blanks at its beginning and end.");
  EXPECT_EQ(SetAlert("new", {{"Message", "a\nb"}}),
            "Message: The site file can't keep this text. Leave out line ends.");
  std::string many;
  for (int i = 0; i < 51; ++i) many += "w" + std::to_string(i) + ";";
  EXPECT_EQ(SetAlert("new", {{"Word", many}}), "Word: An alert takes 50 entries of a kind at most.");
  EXPECT_EQ(SetAlert("new", {{"Word", many.substr(0, many.size() - 4)}}), "");
  EXPECT_EQ(t.Alerts.at(0).Word.size(), 50U);
}

// Each name is that of a line in the file, so that people find it there.
TEST_F(EditsTest, EveryKeyIsTheFilesOwn) {
  const std::string sites = Lower(FormatSites(Regional{}, t)), all = Lower(FormatSettings(settings)),
                    types = Lower(FormatExTypes(settings.ExceptionTypes));
  const auto has = [](const std::string& text, std::string_view key) {
    return Contains(text, "\n" + Lower(key) + "=") || Contains(text, "\n" + Lower(key) + "1=");
  };
  for (const auto* field : NamedSiteFields()) {
    EXPECT_TRUE(has(sites, field->key) || field->key == "Name") << field->key;
  }
  for (const auto* field : NamedSettings()) EXPECT_TRUE(has(all, field->key)) << field->key;
  for (const auto* field : NamedExceptionFields()) EXPECT_TRUE(has(types, field->key)) << field->key;
  EXPECT_EQ(SetAlert("new", {{"DNS", "a"}, {"Word", "b"}, {"Page", "c"}, {"Engine", "Google"}}), "");
  const std::string alerts = Lower(FormatSites(Regional{}, t));
  for (const auto* field : NamedAlertFields()) {
    EXPECT_TRUE(has(alerts, "Alert" + std::string(field->key)) || field->key == "Name") << field->key;
  }
}

// And each takes what it shows, and keeps it over the file.
TEST_F(EditsTest, EveryFieldTakesWhatItShows) {
  for (const auto* field : NamedSiteFields()) {
    EXPECT_EQ(SetSite({{std::string(field->key), ValueText(field->look, field->get(t.Site(1)))}}), "") << field->key;
  }
  for (const auto* field : NamedSettings()) {
    EXPECT_EQ(Set({{std::string(field->key), ValueText(field->look, field->get(settings))}}), "") << field->key;
  }
  for (const auto* field : NamedExceptionFields()) {
    const std::string value = ValueText(field->look, field->get(*FindExceptionType(settings, "130")));
    EXPECT_EQ(SetException("130", {{std::string(field->key), value}}), "") << field->key;
  }
  EXPECT_EQ(SetAlert("new", {}), "");
  for (const auto* field : NamedAlertFields()) {
    EXPECT_EQ(SetAlert("1", {{std::string(field->key), ValueText(field->look, field->get(t.Alerts[0]))}}), "")
        << field->key;
  }
}

TEST_F(EditsTest, AThousandSitesAreNoTrouble) {
  for (int i = 3; i <= 1'000; ++i) {
    SiteRec& site = t.Sites.emplace_back(t.Site(1));
    site.Name = "Site " + std::to_string(i);
    site.Domain = "www" + std::to_string(i) + ".example";
  }
  EXPECT_EQ(Edit(EditVerb::kSetSite, "Site 1000", {{"Domain", "www.new.example"}}), "");
  EXPECT_EQ(t.Site(1'000).Domain, "www.new.example");
}

TEST(SettingsOf, WhatTheNextStartWouldNotReadIsTold) {
  MemoryFiles files;
  Settings settings;
  EXPECT_TRUE(ReadSettingsOf(EditVerb::kSet, files, "/home/", settings).ok());
  EXPECT_EQ(settings.Extension, Settings::DefaultExtensions());
  EXPECT_TRUE(ReadSettingsOf(EditVerb::kSetException, files, "/home/", settings).ok());
  EXPECT_NE(FindExceptionType(settings, "130"), nullptr);
  files.Put("/home/SETTINGS.INI", "ReverseDNS=Maybe\r\n\r\n");
  EXPECT_EQ(ReadSettingsOf(EditVerb::kSet, files, "/home/", settings).text,
            "/home/SETTINGS.INI line 1: 'Maybe' is neither True nor False. Put that right first.");
  files.Put("/home/EXTYPES.INI", "Number=1\r\nRaise=True");
  Settings types;
  EXPECT_TRUE(Contains(ReadSettingsOf(EditVerb::kSetException, files, "/home/", types).text, "EXTYPES.INI line 2: "));
  files.entries["/home/EXTYPES.INI"]->readable = false;
  EXPECT_EQ(ReadSettingsOf(EditVerb::kSetException, files, "/home/", types).fail, Fail::kIo);
}

}  // namespace
}  // namespace vantry
