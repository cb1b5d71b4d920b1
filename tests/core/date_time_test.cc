#include "core/date_time.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

LogTime At(int year, int month, int day, int h, int m, int s) {
  return MakeLogTime(*MakeDay(year, month, day), h * 3600 + m * 60 + s);
}

TEST(DateTime, UnsetTime_Is30December1899) {
  EXPECT_EQ(FormatDayKey(DayOf(LogTime{})), "18991230");
  EXPECT_EQ(SecondOfDay(LogTime{}), 0);
  EXPECT_EQ(MakeDay(1899, 12, 30)->n, 0);
  EXPECT_EQ(MakeDay(1970, 1, 1)->n, 25569);
}

TEST(DateTime, MinutesBetween_CountsBoundariesCrossed) {
  struct Case {
    const char* name;
    LogTime from, to;
    int64_t want;
  };
  const Case cases[] = {{"one second over the boundary", At(2002, 10, 10, 10, 0, 59), At(2002, 10, 10, 10, 1, 0), 1},
                        {"59 seconds inside a minute", At(2002, 10, 10, 10, 0, 0), At(2002, 10, 10, 10, 0, 59), 0},
                        {"119 seconds over one boundary", At(2002, 10, 10, 10, 0, 0), At(2002, 10, 10, 10, 1, 59), 1},
                        {"backwards", At(2002, 10, 10, 10, 1, 0), At(2002, 10, 10, 10, 0, 59), -1},
                        {"over midnight", At(2002, 12, 31, 23, 59, 59), At(2003, 1, 1, 0, 0, 0), 1},
                        {"before the zero day", At(1899, 12, 29, 23, 59, 59), At(1899, 12, 30, 0, 0, 0), 1},
                        {"the same", At(2002, 10, 10, 10, 0, 30), At(2002, 10, 10, 10, 0, 30), 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(MinutesBetween(c.from, c.to), c.want);
    EXPECT_EQ(MinutesBetween(WallTime{c.from.s}, WallTime{c.to.s}), c.want);
  }
}

TEST(DateTime, DayAndSecond_HoldBeforeTheZeroDay) {
  const LogTime t = At(1899, 12, 29, 23, 59, 58);
  EXPECT_EQ(DayOf(t).n, -1);
  EXPECT_EQ(SecondOfDay(t), 86398);
}

TEST(DateTime, MakeDay_RefusesDatesThatDoNotExist) {
  struct Case {
    const char* name;
    int year, month, day;
    bool exists;
  };
  const Case cases[] = {{"year 0 was a leap year", 0, 2, 29, true},
                        {"first day of year 0", 0, 1, 1, true},
                        {"last day of year 9999", 9999, 12, 31, true},
                        {"leap day", 2004, 2, 29, true},
                        {"no leap day", 2003, 2, 29, false},
                        {"century without leap day", 1900, 2, 29, false},
                        {"fourth century with leap day", 2000, 2, 29, true},
                        {"30 February", 2004, 2, 30, false},
                        {"31 April", 2003, 4, 31, false},
                        {"day 0", 2003, 4, 0, false},
                        {"month 0", 2003, 0, 1, false},
                        {"month 13", 2003, 13, 1, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(MakeDay(c.year, c.month, c.day).has_value(), c.exists);
  }
}

TEST(DateTime, ToCivil_UndoesMakeDayOnEveryDayOfFourCenturies) {
  Day day = *MakeDay(1799, 12, 31);
  const Day last = *MakeDay(2200, 1, 1);
  for (; day < last; ++day.n) {
    const CivilDate c = ToCivil(day);
    ASSERT_EQ(MakeDay(c.year, c.month, c.day), day);
  }
  for (const int year : {0, 1, 4, 100, 9999}) EXPECT_EQ(ToCivil(*MakeDay(year, 3, 1)).year, year);
}

TEST(DateTime, FullYear_PlacesTwoDigitsFrom1930To2029) {
  EXPECT_EQ(FullYear(0), 2000);
  EXPECT_EQ(FullYear(29), 2029);
  EXPECT_EQ(FullYear(30), 1930);
  EXPECT_EQ(FullYear(99), 1999);
  EXPECT_EQ(FullYear(100), 100);
  EXPECT_EQ(FullYear(2002), 2002);
  EXPECT_EQ(FullYear(-1), -1);
}

TEST(DateTime, MonthFromName_TakesFullOrThreeLetterNamesInAnyCase) {
  EXPECT_EQ(MonthFromName("jan"), 1);
  EXPECT_EQ(MonthFromName("OCT"), 10);
  EXPECT_EQ(MonthFromName("dEcEmBeR"), 12);
  EXPECT_EQ(MonthFromName("May"), 5);
  for (const char* name : {"", "Oc", "Octo", "Sept", "Oktober", "10"}) EXPECT_EQ(MonthFromName(name), 0) << name;
}

TEST(DateTime, ParseTime_TakesTheFormsOfLogs) {
  struct Case {
    const char* name;
    const char* text;
    std::optional<int32_t> want;
  };
  const Case cases[] = {{"midnight", "00:00:00", 0},
                        {"last second", "23:59:59", 86399},
                        {"one digit", "1:02:03", 3723},
                        {"last second of the long form", "9:59:59", 35999},
                        {"last second of an afternoon", "9:59:59 PM", 79199},
                        {"second 60 of the long form", "9:59:60", {}},
                        {"minute 60 of the long form", "9:60:59", {}},
                        {"no seconds", "10:05", 36300},
                        {"blanks around", " 10:05:00 ", 36300},
                        {"fraction dropped", "10:05:00.999", 36300},
                        {"fraction needs seconds", "10:05.5", {}},
                        {"fraction of letters", "10:05:00.9x", {}},
                        {"midnight with AM", "12:00:00 AM", 0},
                        {"noon with PM", "12:00:00 PM", 43200},
                        {"afternoon in small letters", "1:00 pm", 46800},
                        {"no blank in front of PM", "1:00PM", 46800},
                        {"hour 0 with AM", "0:00:00 AM", {}},
                        {"hour 13 with PM", "13:00:00 PM", {}},
                        {"hour 24", "24:00:00", {}},
                        {"minute 60", "10:60:00", {}},
                        {"second 60", "10:00:60", {}},
                        {"letters", "10:0a:00", {}},
                        {"letters in two digits", "1a:00:00", {}},
                        {"minus", "-1:00:00", {}},
                        {"three digits", "100:00:00", {}},
                        {"four parts", "1:2:3:4", {}},
                        {"one part", "10", {}},
                        {"PM alone", "PM", {}},
                        {"empty", "", {}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ParseTime(c.text), c.want);
  }
}

TEST(DateTime, FormatTime_IsReadBackOverTheWholeDay) {
  for (int32_t s = 0; s < 86400; s += 7) ASSERT_EQ(ParseTime(FormatTime(s)), s);
  EXPECT_EQ(FormatTime(86399), "23:59:59");
}

TEST(DateTime, ParseNamedMonthDate_TakesLogDates) {
  struct Case {
    const char* name;
    const char* text;
    std::optional<Day> want;
  };
  const Case cases[] = {{"slashes", "10/Oct/2002", MakeDay(2002, 10, 10)},
                        {"hyphens", "10-Oct-2002", MakeDay(2002, 10, 10)},
                        {"small letters", "1/oct/2002", MakeDay(2002, 10, 1)},
                        {"full name", "01/October/2002", MakeDay(2002, 10, 1)},
                        {"two-digit year, first", "01/Jan/30", MakeDay(1930, 1, 1)},
                        {"two-digit year, last", "01/Jan/29", MakeDay(2029, 1, 1)},
                        {"year 0000", "01/Jan/0000", MakeDay(0, 1, 1)},
                        {"year 9999", "31/Dec/9999", MakeDay(9999, 12, 31)},
                        {"30 February", "30/Feb/2002", {}},
                        {"no such month", "10/Foo/2002", {}},
                        {"month as a number", "10/10/2002", {}},
                        {"two parts", "10/Oct", {}},
                        {"four parts", "10/Oct/2002/1", {}},
                        {"five-digit year", "10/Oct/20020", {}},
                        {"no year", "10/Oct/", {}},
                        {"empty", "", {}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ParseNamedMonthDate(c.text), c.want);
  }
}

TEST(DateTime, NumericDates_FollowTheirOrder) {
  EXPECT_EQ(ParseYearFirstDate("2002-10-09", '-'), MakeDay(2002, 10, 9));
  EXPECT_EQ(ParseYearFirstDate("02-10-09", '-'), MakeDay(2002, 10, 9));
  EXPECT_EQ(ParseYearFirstDate("0000-01-01", '-'), MakeDay(0, 1, 1));
  EXPECT_EQ(ParseYearFirstDate("2002-13-01", '-'), std::nullopt);
  EXPECT_EQ(ParseYearFirstDate("2002/10/09", '-'), std::nullopt);
  EXPECT_EQ(ParseMonthFirstDate("10/9/02", '/'), MakeDay(2002, 10, 9));
  EXPECT_EQ(ParseMonthFirstDate("10/9/2002", '/'), MakeDay(2002, 10, 9));
  EXPECT_EQ(ParseMonthFirstDate("13/9/2002", '/'), std::nullopt);
  EXPECT_EQ(ParseMonthFirstDate("2/30/2002", '/'), std::nullopt);
  EXPECT_EQ(ParseMonthFirstDate("10/9", '/'), std::nullopt);
  EXPECT_EQ(ParseMonthFirstDate("-10/9/2002", '/'), std::nullopt);
}

}  // namespace
}  // namespace vantry
