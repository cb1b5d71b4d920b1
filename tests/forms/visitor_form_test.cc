#include "forms/visitor_form.h"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/form_rig.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;

std::vector<std::string> Filled(const Settings& settings) {
  std::vector<std::string> masks;
  for (const std::string& mask : settings.DNSMask) {
    if (!mask.empty()) masks.push_back(mask);
  }
  return masks;
}

TEST(CheckGroups, AStarOrADollarMakesAMaskAndAQuestionMarkAloneDoesNot) {
  for (const char* good : {"*", "*.example.com", "cache?.example.*", "a$", "$", ""}) {
    EXPECT_FALSE(CheckGroups(std::vector<std::string>{good})) << good;
  }
  for (const char* bad : {"cache?.example.com", "www.example.com", "?", "#", "[a]"}) {
    EXPECT_TRUE(CheckGroups(std::vector<std::string>{bad})) << bad;
  }
}

TEST(CheckGroups, TellsOfTheFirstThatIsNone) {
  const auto problem = CheckGroups(std::vector<std::string>{"*.a", "", "b.example", "c.example"});
  ASSERT_TRUE(problem);
  EXPECT_EQ(problem->row, 2u);
  EXPECT_EQ(problem->text,
            "b.example\nThere are no mask characters in this DNS Name. For groups to work you need to use masks. For "
            "example: *.proxy.example.com or cache?.example.*");
}

TEST(StoreGroups, KeepsTheOrderAndLeavesNoGap) {
  Settings settings;
  StoreGroups(std::vector<std::string>{"", " *.b ", "   ", "*.a"}, settings);
  EXPECT_THAT(Filled(settings), ElementsAre("*.b", "*.a"));
  EXPECT_EQ(settings.DNSMask[0], "*.b");
  EXPECT_EQ(settings.DNSMask[1], "*.a");
  StoreGroups({}, settings);
  EXPECT_THAT(Filled(settings), ElementsAre());
}

TEST(StoreGroups, HasRoomForAllPlacesAndNoMore) {
  Settings settings;
  StoreGroups(std::vector<std::string>(Settings::kMaxMasks + 1, "*.x"), settings);
  EXPECT_EQ(Filled(settings).size(), Settings::kMaxMasks);
}

TEST(PlaceForGroup, IsTheFirstEmptyOne) {
  EXPECT_EQ(PlaceForGroup(std::vector<std::string>{"a", "", "b", ""}), 1u);
  EXPECT_EQ(PlaceForGroup(std::vector<std::string>{"a", "b"}), std::nullopt);
}

TEST(GroupRow, HasNoMarkOfALookUpThatFailed) {
  EXPECT_EQ(GroupRow("10.0.0.7 ?"), "10.0.0.7");
  EXPECT_EQ(GroupRow("host.example"), "host.example");
  EXPECT_EQ(GroupRow(""), "");
}

TEST(ShowFriendlyName, OnTheVisitorOfThatSiteAndAddress) {
  FormRig rig;
  VisitorRec& one = *rig.t.Visitors.At(rig.t.Visitors.Add(1, "10.0.0.1"));
  VisitorRec& two = *rig.t.Visitors.At(rig.t.Visitors.Add(2, "10.0.0.1"));
  one.GridDirty = two.GridDirty = false;
  ShowFriendlyName(rig.t, 1, "10.0.0.1", "Somebody");
  EXPECT_EQ(one.KnownName, "Somebody");
  EXPECT_TRUE(one.GridDirty);
  EXPECT_TRUE(two.KnownName.empty());
  EXPECT_FALSE(two.GridDirty);
  ShowFriendlyName(rig.t, 1, "10.0.0.1", "");
  EXPECT_TRUE(one.KnownName.empty());
  ShowFriendlyName(rig.t, 1, "10.0.0.9", "Nobody");
}

}  // namespace
}  // namespace vantry
