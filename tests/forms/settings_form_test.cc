// What can be edited of the settings and of an exception type.
#include "forms/settings_form.h"

#include <cstdint>
#include <set>

#include <gtest/gtest.h>

#include "support/memory_files.h"

namespace vantry {
namespace {

struct SettingsFormTest : ::testing::Test {
  MemoryFiles files;
  Settings draft;

  SettingsFormTest() { draft.Extension = {"htm"}; }
  std::string Check() {
    const auto problem = CheckSettings(draft, files);
    return problem ? std::string(problem->control) + ": " + problem->text : "";
  }
};

template <class Rec>
void EveryFieldComesBack(std::span<const FormField<Rec>> fields, size_t count) {
  std::set<std::string_view> names;
  for (const auto& field : fields) {
    if (!field.get) continue;
    EXPECT_TRUE(names.insert(field.look.control).second) << field.look.control;
    Rec record;
    FieldValue value = field.get(record);
    if (auto* text = std::get_if<std::string>(&value)) *text += "!";
    if (auto* on = std::get_if<bool>(&value)) *on = !*on;
    if (auto* number = std::get_if<int32_t>(&value)) *number += 2;
    field.set(record, value);
    EXPECT_EQ(field.get(record), value) << field.look.control;
  }
  EXPECT_EQ(names.size(), count);
}

TEST_F(SettingsFormTest, EveryControlGivesItsFieldBack) {
  EveryFieldComesBack(kSettingsFields, 35);
  EveryFieldComesBack(kWebColours, 10);
  EveryFieldComesBack(kExceptionFields, 14);
}

TEST_F(SettingsFormTest, EveryPageHasARowAndEveryRowAPage) {
  for (const auto& field : kSettingsFields) {
    bool found = false;
    for (const SettingsPage& page : kSettingsPages) found = found || page.command == field.look.page;
    EXPECT_TRUE(found) << field.look.page;
  }
  EXPECT_EQ(kSettingsPages.size(), 10u);
}

TEST_F(SettingsFormTest, TellsWhatIsWrongInOrder) {
  EXPECT_EQ(Check(), "");
  draft.WebAccessControl = true;
  EXPECT_EQ(Check(), "txtWebUser: If you enable web access control you must specify a user name.");
  draft.DefaultSound = "/nowhere.wav";
  EXPECT_EQ(Check(), "txtSound: Sound File Does Not Exist");
  draft.InactivityMins = 1;
  EXPECT_EQ(Check(), "txtMins: The Inactivity Minutes must be at least 2");
  draft.InactivityMins = 0;
  EXPECT_EQ(Check(), "txtMins: Minutes must be greater than zero");
}

TEST_F(SettingsFormTest, WithoutWebAccessAUserMayBeMissing) {
  draft.WebAccessControl = true;
  draft.WebAccess = false;
  EXPECT_EQ(Check(), "");
}

TEST_F(SettingsFormTest, APortThatIsTooHighIsPutBack) {
  draft.WebAccessPort = 70'000;
  TidySettings(draft);
  EXPECT_EQ(draft.WebAccessPort, 65'535);
}

TEST_F(SettingsFormTest, ALineEndIsRefused) {
  draft.EmailSubject = "a\r\nWebAccess=False";
  EXPECT_EQ(Check(), "txtSubject: The settings file can't keep this text. Leave out line ends.");
}

TEST_F(SettingsFormTest, WhatTheFilesCanNotKeepIsRefused) {
  const Settings good = draft;
  for (const auto fields : {kSettingsFields, kWebColours}) {
    for (const auto& field : fields) {
      if (field.look.kind != FieldKind::kText && field.look.kind != FieldKind::kPassword) continue;
      if (field.look.control == "txtSound") continue;  // There is no such file.
      draft = good;
      field.set(draft, std::string("a\nWebAccess=False"));
      EXPECT_EQ(CheckSettings(draft, files)->control, field.look.control);
      field.set(draft, std::string("a=b; [c]"));
      EXPECT_EQ(Check(), "") << field.look.control;
    }
  }
  draft = good;
  draft.EmailSubject = "  Hello ";
  TidySettings(draft);
  EXPECT_EQ(draft.EmailSubject, "Hello");
  draft.EmailPassword = "secret ";
  EXPECT_EQ(Check(),
            "txtSMTPPassword: The settings file can't keep this text. Leave out line ends, and blanks at its "
            "beginning and end.");
  draft = good;
  draft.Extension.clear();
  EXPECT_EQ(Check(), "extGrid: Enter a file extension. Without one the next start takes the usual list.");
  draft.Extension = {"a\nb"};
  EXPECT_EQ(Check(), "extGrid: The settings file can't keep one of these extensions. Leave out line ends.");
  draft = good;
  draft.SearchEngines = {{"Mine", ".a\nEvil,.b"}};
  EXPECT_EQ(Check(), "refGrid: The file of referring sites can't keep one of these texts. Leave out line ends.");
}

TEST_F(SettingsFormTest, LargeNumbersAreKept) {
  for (const int32_t number : {32'767, 65'535, INT32_MAX}) {
    for (const auto& field : kSettingsFields) {
      if (field.look.kind == FieldKind::kNumber) field.set(draft, number);
    }
    TidySettings(draft);
    EXPECT_EQ(Check(), "");
  }
}

TEST_F(SettingsFormTest, StoresWhatItEditsAndNothingElse) {
  Settings now;
  now.DNSMask[7] = "*.mine.example";
  draft.EmailEvery = 9;
  draft.WebColGrid = "#123456";
  draft.Extension = {"htm"};
  StoreSettings(draft, now);
  EXPECT_EQ(now.EmailEvery, 9);
  EXPECT_EQ(now.WebColGrid, "#123456");
  EXPECT_EQ(now.Extension, std::vector<std::string>{"htm"});
  EXPECT_EQ(now.DNSMask[7], "*.mine.example");
}

TEST_F(SettingsFormTest, LinesOfEnginesThatStayAreNotTouched) {
  const std::string before = "First,.first.,q\r\nSecond,.second.\r\n";
  EXPECT_EQ(RewriteSearchEngines(before, {{"First", ".first."}, {"New", ".new."}}), "First,.first.,q\r\nNew,.new.\r\n");
}

TEST_F(SettingsFormTest, TypedListsAreTidied) {
  const std::vector<std::string> names{"A, B", "none"}, matches{" .a. ", ""};
  const auto typed = TypedEngines(names, matches);
  ASSERT_EQ(typed.size(), 1u);
  EXPECT_EQ(typed[0].name + "|" + typed[0].match, "A B|.a.");
  EXPECT_EQ(TypedExtensions(std::vector<std::string>{".HTM", " ", "php"}), (std::vector<std::string>{"htm", "php"}));
  EXPECT_EQ(TypedExtensions(std::vector<std::string>(40, "x")).size(), 30u);
}

TEST_F(SettingsFormTest, AnExceptionTypeIsChecked) {
  ExceptionType type;
  EXPECT_FALSE(CheckExceptionType(type, files));
  type.SMS = type.RunProgram = true;
  EXPECT_EQ(CheckExceptionType(type, files)->text, "EXE or Script File Does Not Exist");
  files.Put("/bin/act", "");
  type.Run = "/bin/act";
  EXPECT_EQ(CheckExceptionType(type, files)->text,
            "You must enter a SMS Server address book entry if you enable the SMS option.");
  type.SMSNumber = "me";
  EXPECT_FALSE(CheckExceptionType(type, files));
  type.Description = "More than [value] visitors";
  type.Value = "30";
  EXPECT_EQ(ShownDescription(type), "More than 30 visitors");
  type.Value = "007";
  type.Run = " /bin/act ";
  TidyExceptionType(type);
  EXPECT_EQ(type.Value + type.Run, "7/bin/act");
  EXPECT_FALSE(CheckExceptionType(type, files));
  type.Description = "a\n[130]";
  EXPECT_EQ(CheckExceptionType(type, files)->control, "txtDesc");
  type.Description = "a=b; [c]";
  EXPECT_FALSE(CheckExceptionType(type, files));
  type.Value = "1\n2";
  TidyExceptionType(type);
  EXPECT_EQ(CheckExceptionType(type, files)->text,
            "The file of exception types can't keep this text. Leave out line ends.");
}

}  // namespace
}  // namespace vantry
