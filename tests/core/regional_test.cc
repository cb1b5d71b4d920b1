#include "core/regional.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(Regional, Formats_FollowTheirPatterns) {
  struct Case {
    const char* name;
    Regional regional;
    const char *date, *morning, *evening;
  };
  const Case cases[] = {{"defaults", {}, "3/9/2004", "12:05:06 AM", "11:05:06 PM"},
                        {"points and 24 hours", {"dd.MM.yyyy", "HH:mm:ss"}, "09.03.2004", "00:05:06", "23:05:06"},
                        {"year first", {"yyyy-MM-dd", "H:mm"}, "2004-03-09", "0:05", "23:05"},
                        {"two-digit year", {"d/M/yy", "hh:mm AM/PM"}, "9/3/04", "12:05 AM", "11:05 PM"},
                        {"h counts to 24 alone", {"d. M. yyyy", "h.mm.ss"}, "9. 3. 2004", "0.05.06", "23.05.06"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(c.regional.ShortDate(*MakeDay(2004, 3, 9)), c.date);
    EXPECT_EQ(c.regional.Time(306), c.morning);
    EXPECT_EQ(c.regional.Time(23 * 3600 + 306), c.evening);
  }
}

TEST(Regional, GeneralAndStamp_DifferInTheTimeAlone) {
  const Regional r;
  const WallTime t{MakeLogTime(*MakeDay(2004, 3, 9), 13 * 3600).s};
  EXPECT_EQ(r.General(t), "3/9/2004 1:00:00 PM");
  EXPECT_EQ(r.Stamp(t), "3/9/2004 13:00:00");
  EXPECT_EQ(r.Stamp(LogTime{}), "12/30/1899 00:00:00");
}

TEST(Regional, Stamp_IsReadBackInEachFormat) {
  for (const char* pattern : {"M/d/yyyy", "dd.MM.yyyy", "yyyy-MM-dd", "d. M. yyyy", "MM/dd/yy"}) {
    SCOPED_TRACE(pattern);
    const Regional r{pattern, "HH:mm:ss"};
    for (Day day = *MakeDay(1930, 1, 1); day < *MakeDay(2029, 12, 31); day.n += 13) {
      const LogTime t = MakeLogTime(day, static_cast<int32_t>(day.n % 86400));
      ASSERT_EQ(r.ParseStamp(r.Stamp(t)), t) << r.Stamp(t);
    }
  }
}

TEST(Regional, Stamp_OfFourDigitYearsIsReadBackAtBothEnds) {
  const Regional r;
  for (const int year : {0, 99, 100, 1899, 9999}) {
    const LogTime t = MakeLogTime(*MakeDay(year, 12, 31), 86399);
    EXPECT_EQ(r.ParseStamp(r.Stamp(t)), t) << r.Stamp(t);
  }
}

TEST(Regional, ParseStamp_TakesWhatFilesHold) {
  struct Case {
    const char* name;
    const char* pattern;
    const char* text;
    std::optional<LogTime> want;
  };
  const LogTime nine = MakeLogTime(*MakeDay(2004, 3, 9), 0);
  const Case cases[] = {{"date alone is midnight", "M/d/yyyy", "3/9/2004", nine},
                        {"time alone is the zero day", "M/d/yyyy", "00:01:00", LogTime{60}},
                        {"day first", "dd.MM.yyyy", "09.03.2004 00:00:00", nine},
                        {"other separators than the pattern's", "dd.MM.yyyy", "9-3-2004", nine},
                        {"four digits in front are a year", "dd.MM.yyyy", "2004-03-09", nine},
                        {"two-digit year 29", "M/d/yyyy", "3/9/29", MakeLogTime(*MakeDay(2029, 3, 9), 0)},
                        {"two-digit year 30", "M/d/yyyy", "3/9/30", MakeLogTime(*MakeDay(1930, 3, 9), 0)},
                        {"12-hour time", "M/d/yyyy", "3/9/2004 12:00:30 AM", LogTime{nine.s + 30}},
                        {"blanks around", "M/d/yyyy", "  3/9/2004   0:00:00 ", nine},
                        {"pattern without all parts", "yyyy", "3/9/2004", nine},
                        {"no such day", "M/d/yyyy", "2/30/2004 00:00:00", {}},
                        {"month 13", "M/d/yyyy", "13/1/2004", {}},
                        {"bad time", "M/d/yyyy", "3/9/2004 25:00:00", {}},
                        {"bad date", "M/d/yyyy", "x 10:00:00", {}},
                        {"two numbers", "M/d/yyyy", "3/2004", {}},
                        {"four numbers", "M/d/yyyy", "3/9/20/04", {}},
                        {"five digits", "M/d/yyyy", "3/9/20040", {}},
                        {"letters behind", "M/d/yyyy", "3/9/2004x", {}},
                        {"empty", "M/d/yyyy", "", {}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ((Regional{c.pattern, "HH:mm:ss"}.ParseStamp(c.text)), c.want);
  }
}

}  // namespace
}  // namespace vantry
