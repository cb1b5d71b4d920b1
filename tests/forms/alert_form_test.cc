// What can be edited of an alert.
#include "forms/alert_form.h"

#include <gtest/gtest.h>

#include "support/memory_files.h"

namespace vantry {
namespace {

struct AlertFormTest : ::testing::Test {
  MemoryFiles files;
  LiveTables t;
  std::vector<SearchEngine> engines{{"First", ".first."}, {"Second", ".second."}, {"Third", ".third."}};

  AlertFormTest() {
    t.Sites.resize(2);
    files.Put("/sounds/bell.wav", "");
  }
  std::string Check(const AlertRec& draft) {
    const auto problem = CheckAlert(draft, files);
    return problem ? std::string(problem->control) + ": " + problem->text : "";
  }
};

TEST_F(AlertFormTest, ANewOneHasTheNextNumberOfItsSite) {
  for (const int16_t site : {1, 2, 1}) AppendAlert(t, NewAlert(t, site));
  EXPECT_EQ(t.Alerts[0].Name, "Alert 1");
  EXPECT_EQ(t.Alerts[1].Name, "Alert 1");
  EXPECT_EQ(t.Alerts[2].Name, "Alert 2");
  DeleteAlert(t, 0);
  AppendAlert(t, NewAlert(t, 1));
  EXPECT_EQ(t.Alerts[2].AlertNo, 3) << "visits are stored by the numbers";
  EXPECT_EQ(AlertsOf(t, 1), (std::vector<size_t>{1, 2}));
  EXPECT_EQ(t.Site(1).AlertDefinitions, 2);
  EXPECT_TRUE(t.Alerts[2].Enabled);
}

TEST_F(AlertFormTest, TellsWhatIsWrongInOrder) {
  AlertRec draft;
  draft.Name = "  ";
  draft.Sound = draft.RunThis = true;
  EXPECT_EQ(Check(draft), "txtName: An Alert must have a name.");
  draft.Name = "A";
  EXPECT_EQ(Check(draft), "txtAlertSound: Sound File Does Not Exist");
  draft.SoundFile = "/sounds/bell.wav";
  EXPECT_EQ(Check(draft), "txtEXE: EXE or Script File Does Not Exist");
  draft.Run = "/sounds/bell.wav";
  EXPECT_EQ(Check(draft), "");
  draft = AlertRec();
  draft.Name = "A";
  draft.SoundFile = "/nowhere";
  EXPECT_EQ(Check(draft), "") << "what is not used may be missing";
}

TEST_F(AlertFormTest, WhatTheFileCanNotKeepIsRefused) {
  AlertRec good;
  good.Name = "A=b; [c]";
  good.DNS = {"*.a=b", "[::1]"};
  good.Engine = {".first."};
  EXPECT_EQ(Check(good), "");
  AlertRec draft = good;
  draft.Message = "two\nlines";
  EXPECT_EQ(Check(draft), "txtMessage: The site file can't keep this text. Leave out line ends.");
  draft = good;
  draft.Name = "A\r\n[Other]";
  EXPECT_EQ(Check(draft), "txtName: The site file can't keep this text. Leave out line ends.");
  const std::string told =
      "The site file can't keep one of these entries. Leave out line ends, and referring sites whose text has one "
      "letter.";
  draft = good;
  draft.Page = {"/a", "/b\nAlert=c"};
  EXPECT_EQ(Check(draft), "gridPAGES: " + told);
  draft = good;
  draft.Engine = {"x"};
  EXPECT_EQ(Check(draft), "listRef: " + told);
  draft.EngineAll = true;
  draft.Engine.clear();
  EXPECT_EQ(Check(draft), "");
  draft.Name = draft.Message = " a ";
  TidyAlert(draft);
  EXPECT_EQ(draft.Name + draft.Message, "aa");
}

TEST_F(AlertFormTest, AnAlertIsFoundWhereItIsNow) {
  for (int i = 0; i < 3; ++i) AppendAlert(t, NewAlert(t, 1));
  const AlertRec second = t.Alerts[1];
  EXPECT_EQ(PlaceOfAlert(t, second), std::optional<size_t>(1));
  DeleteAlert(t, 0);
  EXPECT_EQ(PlaceOfAlert(t, second), std::optional<size_t>(0));
  DeleteAlert(t, 0);
  EXPECT_EQ(PlaceOfAlert(t, second), std::nullopt);
  AppendAlert(t, second);
  AppendAlert(t, second);
  EXPECT_EQ(t.Alerts[1].AlertNo, 2);
  EXPECT_EQ(t.Alerts[2].AlertNo, 4) << "its number is taken";
  EXPECT_EQ(t.Site(1).AlertDefinitions, 3);
}

TEST_F(AlertFormTest, EntriesAreInLowerCaseAndFiftyAtMost) {
  EXPECT_EQ(AlertEntries(std::vector<std::string>{"*.Example.COM", " ", "Red Shoes "}),
            (std::vector<std::string>{"*.example.com", "red shoes"}));
  EXPECT_EQ(AlertEntries(std::vector<std::string>(60, "A")).size(), 50u);
}

TEST_F(AlertFormTest, AnywhereDropsTheEngines) {
  AlertRec alert;
  ChooseEngines(std::vector<size_t>{0, 2}, engines, alert);
  EXPECT_TRUE(alert.EngineAll);
  EXPECT_TRUE(alert.Engine.empty());
  ChooseEngines(std::vector<size_t>{1, 3}, engines, alert);
  EXPECT_FALSE(alert.EngineAll);
  EXPECT_EQ(alert.Engine, (std::vector<std::string>{".first.", ".third."}));
  EXPECT_EQ(ChosenEngines(alert, engines), (std::vector<size_t>{1, 3}));
  ChooseEngines({}, engines, alert);
  EXPECT_FALSE(alert.EngineAll);
  EXPECT_TRUE(alert.Engine.empty());
}

}  // namespace
}  // namespace vantry
