#include "import/iis.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/memory_tree.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

TEST(Iis, FindsTheFoldersOfItsSitesWhateverTheirCase) {
  MemoryTree tree;
  tree.files["/mnt/disk/InetPub/Logs/logfiles/W3SVC1/u_ex260305.log"] = "";
  tree.files["/mnt/disk/InetPub/Logs/logfiles/w3svc22/in260305.log"] = "";
  tree.files["/mnt/disk/InetPub/Logs/logfiles/W3SVC3/readme.txt"] = "";
  tree.files["/mnt/disk/InetPub/Logs/logfiles/W3SVCX/u_ex260305.log"] = "";
  tree.files["/mnt/disk/WINDOWS/system32/LogFiles/W3SVC4/ex260305.log"] = "";
  tree.files["/mnt/disk/WINDOWS/system32/inetsrv/config/applicationHost.config"] =
      "<sites><site name=\"Shop\" id=\"1\"><binding protocol=\"http\" bindingInformation=\"*:80:\" />"
      "<binding bindingInformation=\"*:443:shop.example\" /></site></sites>";
  FoundSites found;
  FindIisSites(tree, "/mnt/disk", found);
  ASSERT_EQ(found.sites.size(), 3u);
  EXPECT_EQ(found.sites[0].domain, "shop.example");
  EXPECT_EQ(found.sites[0].log, "/mnt/disk/InetPub/Logs/logfiles/W3SVC1/");
  EXPECT_EQ(found.sites[0].mask, "u_ex*.log");
  EXPECT_EQ(found.sites[0].type, LogType::kW3C);
  EXPECT_EQ(found.sites[1].domain, "w3svc22");
  EXPECT_EQ(found.sites[1].type, LogType::kIIS);
  EXPECT_EQ(found.sites[2].log, "/mnt/disk/WINDOWS/system32/LogFiles/W3SVC4/");
}

TEST(Iis, TakesAFolderThatHoldsThemDirectly) {
  MemoryTree tree;
  tree.files["/W3SVC7/ex260305.log"] = "";
  FoundSites found;
  FindIisSites(tree, "/", found);
  ASSERT_EQ(found.sites.size(), 1u);
  EXPECT_EQ(found.sites[0].log, "/W3SVC7/");
}

TEST(Iis, DomainsOfItsConfiguration) {
  EXPECT_THAT(IisDomains("<site name=\"A\" id=\"1\"/><site id=\"2\" name=\"B\"><binding bindingInformation=\"*:80:*\"/>"
                         "</site><site name=\"C\"></site><site id=\"3\" name=\"D"),
              ElementsAre(Pair("1", "A"), Pair("2", "B"), Pair("3", "D")));
  EXPECT_TRUE(IisDomains("").empty());
  EXPECT_TRUE(IisDomains("<site ").empty());
}

}  // namespace
}  // namespace vantry
