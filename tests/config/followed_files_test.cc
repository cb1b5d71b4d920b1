// The lines of the site file that the correction FollowRotation adds.
#include "config/followed_files.h"

#include <gtest/gtest.h>

#include "config/site_file.h"

namespace vantry {
namespace {

void AddFollowedSite(LiveTables& t) {
  SiteRec& site = t.Sites.emplace_back();
  site.Name = "One";
  site.LastReadPos = 77;
  site.LastFile = {2049, 131099, 1024, 0xfedcba9876543210, 1'700'000'000'123'456'789, "/var/log/my site/access.log"};
  site.FollowedNs = 1'600'000'000'123'456'789;
  site.LeftLogs.push_back({{2049, 4711, 12, 99, 5, "/var/log/access.log.1"}, 300, 20, false});
  site.LeftLogs.push_back({{2049, 4712, 0, 0, 6, ""}, 1, 0, true});
}

TEST(FollowedFiles, AreWrittenAndReadBack) {
  LiveTables t, read;
  AddFollowedSite(t);
  const std::string bytes = FormatSites(Regional{}, t);
  EXPECT_NE(bytes.find("\r\nLastFile=2049 131099 1024 18364758544493064720 1700000000123456789 "
                       "/var/log/my site/access.log\r\nFollowedTo=1600000000123456789\r\nLeftFile=300 20 0 2049 4711 "
                       "12 99 5 /var/log/access.log.1\r\n"),
            std::string::npos)
      << bytes;
  EXPECT_FALSE(ParseSites(bytes, Regional{}, read));
  ASSERT_EQ(read.SiteCount(), 1);
  EXPECT_EQ(FollowedLines(read.Site(1)), FollowedLines(t.Site(1)));
  EXPECT_EQ(read.Site(1).LeftLogs.size(), 2u);
  EXPECT_EQ(read.Site(1).FollowedNs, t.Site(1).FollowedNs);
}

TEST(FollowedFiles, ClassicFileHasNoneOfThem) {
  LiveTables t, classic;
  AddFollowedSite(t);
  classic.Sites.emplace_back().Name = "One";
  classic.Site(1).LastReadPos = 77;
  ForgetFollowed(t.Site(1));
  EXPECT_EQ(FormatSites(Regional{}, t), FormatSites(Regional{}, classic));
}

TEST(FollowedFiles, WhatCannotBeReadLeavesTheFileUnknown) {
  for (const char* value : {"", "1", "1 2 3 4", "x 2 3 4 5 /a", "1 0 3 4 5 /a", "1 2 -3 4 5 /a", "-1 2 3 4 5 /a",
                            "99999999999999999999 2 3 4 5 /a"}) {
    ReadState state;
    ReadFollowed("LASTFILE", value, state);
    ReadFollowed("LEFTFILE", "1 2 0 " + std::string(value), state);
    EXPECT_EQ(state.LastFile.Inode, 0u) << value;
    EXPECT_TRUE(state.LeftLogs.empty()) << value;
  }
  LiveTables t;
  EXPECT_TRUE(ParseSites("LastFile=1 2 3 4 5 /a\r\n\r\n", Regional{}, t)) << "before a site";
}

}  // namespace
}  // namespace vantry
