#include <string>

#include <gtest/gtest.h>

#include "core/screen_text.h"
#include "ctl/watch.h"

namespace vantry {
namespace {

TEST(Printable, ReplacesWhatSteersATerminal) {
  EXPECT_EQ(Printable("plain text"), "plain text");
  EXPECT_EQ(Printable("a\x1b[31mb\r\n\t\x07\x7f"), "a?[31mb?????");
  EXPECT_EQ(Printable("Zürich 東京 …"), "Zürich 東京 …");
  EXPECT_EQ(Printable("\xc2\x9b"
                      "2J"),
            "?2J");  // The one-character form of ESC [.
  EXPECT_EQ(Printable("\xe2\x80\xae"
                      "txt"),
            "?txt");                                   // Right-to-left override.
  EXPECT_EQ(Printable("\xff\xc3 \xe2\x82"), "?? ??");  // No UTF-8.
  EXPECT_EQ(Printable("\xc0\x9b"), "??");              // Overlong.
  EXPECT_EQ(Printable(std::string_view("\0", 1)), "?");
}

TEST(Printable, NoByteIsDangerousInAnyPlace) {
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      const std::string text{'x', static_cast<char>(a), static_cast<char>(b), 'y'};
      for (const char c : Printable(text)) {
        ASSERT_TRUE(static_cast<unsigned char>(c) >= ' ' && c != 127) << a << " " << b;
      }
    }
  }
}

TEST(FitTo, CutsAtColumns) {
  EXPECT_EQ(FitTo("abcdef", 6), "abcdef");
  EXPECT_EQ(FitTo("abcdef", 5), "abcd…");
  EXPECT_EQ(FitTo("東京都", 6), "東京都");
  EXPECT_EQ(FitTo("東京都", 5), "東京…");
  EXPECT_EQ(FitTo("東京都", 4), "東…");
}

TEST(FormatTable, AlignsAndShrinks) {
  TextTable table{{{"Name", false, 6}, {"N", true, false}}, {{"a long name here", "7"}, {"東", "1234"}}};
  EXPECT_EQ(FormatTable(table, 0),
            (std::vector<std::string>{"Name                 N", "a long name here     7", "東                1234"}));
  EXPECT_EQ(FormatTable(table, 14), (std::vector<std::string>{"Name         N", "a long …     7", "東        1234"}));
  for (int width = 1; width < 30; ++width) {
    for (const std::string& line : FormatTable(table, width)) EXPECT_LE(DisplayWidth(line), width);
  }
}

TEST(FormatTable, CellsAreMadeHarmless) {
  const TextTable table{{{"A", false, 6}}, {{"x\x1b[2J\n"}}};
  EXPECT_EQ(FormatTable(table, 0)[1], "x?[2J?");
}

WatchView BusyView(int sites, int visitors) {
  WatchView view;
  view.caption = "Vantry 2.0.000 [Running]";
  view.place = "127.0.0.1:8004";
  view.clock = "10:00:00";
  for (int i = 0; i < sites; ++i)
    view.sites.push_back({"Site " + std::to_string(i), false, i, 0, 0, 0, "1/5/2026 09:59:58"});
  for (int i = 0; i < visitors; ++i) {
    view.visitors.push_back({"www.example.org", std::to_string(i), "host" + std::to_string(i) + ".example",
                             "index.html", "09:00:00", i % 2 ? "09:00:30" : "09:00:40", "Mozilla/5.0",
                             "http://search.example/?q=x"});
  }
  return view;
}

TEST(ComposeFrame, FitsEveryWindow) {
  for (const auto& view : {BusyView(0, 0), BusyView(1, 3), BusyView(40, 200)}) {
    for (int height = 1; height < 60; ++height) {
      for (int width : {1, 5, 20, 40, 80, 200}) {
        const auto frame = ComposeFrame(view, width, height);
        EXPECT_LE(frame.size(), static_cast<size_t>(height));
        for (const std::string& line : frame) EXPECT_LE(DisplayWidth(line), width);
      }
    }
  }
}

TEST(ComposeFrame, NewestHitComesFirst) {
  const auto frame = ComposeFrame(BusyView(1, 2), 0, 0);
  ASSERT_EQ(frame.size(), 8u);
  EXPECT_EQ(frame[0], "Vantry 2.0.000 [Running]   127.0.0.1:8004   10:00:00");
  EXPECT_NE(frame[3].find("Site 0"), std::string::npos);
  EXPECT_NE(frame[6].find("09:00:40"), std::string::npos);
  EXPECT_NE(frame[7].find("09:00:30"), std::string::npos);
}

TEST(ComposeFrame, TellsWhatHasNoRoom) {
  const auto frame = ComposeFrame(BusyView(1, 30), 80, 12);
  ASSERT_EQ(frame.size(), 12u);
  EXPECT_EQ(frame.back(), "… 25 more");
}

TEST(ComposeFrame, WaitsForAServer) {
  WatchView view;
  view.place = "127.0.0.1:8004";
  view.waiting = "Can't connect.";
  const auto frame = ComposeFrame(view, 80, 24);
  ASSERT_EQ(frame.size(), 4u);
  EXPECT_EQ(frame[2], "waiting for 127.0.0.1:8004");
  EXPECT_EQ(frame[3], "Can't connect.");
}

}  // namespace
}  // namespace vantry
