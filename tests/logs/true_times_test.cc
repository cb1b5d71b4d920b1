// Lines whose times are told as what the machine's clock showed when they happened.
#include <string>

#include <gtest/gtest.h>

#include "core/text.h"
#include "logs/line_parser.h"
#include "support/fakes.h"

namespace vantry {
namespace {

constexpr int32_t kHour = 3600;

LogTime At(int month, int day, std::string_view time) {
  return MakeLogTime(*MakeDay(2026, month, day), *ParseTime(time));
}

struct TimesRig {
  HitRec hit;
  int32_t shift = 0;
  FakeClock clock;
  LineParser parser{hit, shift, clock};

  explicit TimesRig(LogType type, int32_t offset = 0, bool local_time = false, bool true_times = true) {
    clock.utc_offset = offset;
    parser.SetFormat(FormatOf(type), {.true_times = true_times, .local_time = local_time});
    if (!FormatOf(type).layout) parser.MapFields("DATE TIME C-IP");
  }
  // Central Europe in 2026.
  void ChangeClocks() {
    clock.utc_offset = kHour;
    clock.changes = {{{At(3, 29, "01:00:00").s}, 2 * kHour}, {{At(10, 25, "01:00:00").s}, kHour}};
  }
  LogTime Ncsa(const std::string& stamp) {
    return parser.ReadTime("10.0.0.1 - - [" + stamp + "] \"GET /a.htm HTTP/1.0\" 200 1");
  }
};

std::string ZoneText(int32_t seconds) {
  const int32_t minutes = std::abs(seconds) / 60;
  return (seconds < 0 ? "-" : "+") + PadNumber(minutes / 60, 2) + PadNumber(minutes % 60, 2);
}

TEST(TrueTimes, EveryZoneOnEveryMachine) {
  // The same instant, written in each zone: noon of 5 March in UTC.
  for (int32_t written = -12 * kHour; written <= 14 * kHour; written += 900) {
    const LogTime there{At(3, 5, "12:00:00").s + written};
    const CivilDate c = ToCivil(DayOf(there));
    const std::string stamp = PadNumber(c.day, 2) + "/Mar/2026:" + FormatTime(SecondOfDay(there));
    for (const int32_t here : {-12 * kHour, -9 * kHour - 1800, 0, 2 * kHour, 5 * kHour + 2700, 14 * kHour}) {
      TimesRig rig(LogType::kNCSA, here);
      EXPECT_EQ(rig.Ncsa(stamp + " " + ZoneText(written)).s, At(3, 5, "12:00:00").s + here) << stamp << written;
      EXPECT_EQ(rig.shift, 0) << "the classic shift is left alone";
    }
  }
}

TEST(TrueTimes, ClassicAddsWholeHoursOfTheZone) {
  TimesRig rig(LogType::kNCSA, 2 * kHour, false, false);
  EXPECT_EQ(rig.Ncsa("05/Mar/2026:12:00:00 +0530"), At(3, 5, "17:00:00"));
}

TEST(TrueTimes, ZoneThatChangesInTheLogCountsFromItsLineOn) {
  TimesRig rig(LogType::kNCSA, kHour);
  EXPECT_EQ(rig.Ncsa("05/Mar/2026:12:00:00 +0100"), At(3, 5, "12:00:00"));
  EXPECT_EQ(rig.Ncsa("05/Mar/2026:11:00:01 +0000"), At(3, 5, "12:00:01"));
  EXPECT_EQ(rig.Ncsa("06/Mar/2026:00:00:02 +1300"), At(3, 5, "12:00:02"));
  EXPECT_EQ(rig.Ncsa("05/Mar/2026:12:00:03"), At(3, 5, "12:00:03")) << "without a zone a time is local";
}

TEST(TrueTimes, ZoneThatIsNoneKeepsTheOneBefore) {
  for (const char* bad : {"UTC", "+1", "+2500", "+0160", "01000", "+01:0", "*0100", ""}) {
    TimesRig rig(LogType::kNCSA, 0);
    rig.Ncsa("05/Mar/2026:12:00:00 +0200");
    EXPECT_EQ(rig.Ncsa("05/Mar/2026:12:00:00 " + std::string(bad)), At(3, 5, "10:00:00")) << bad;
  }
}

TEST(TrueTimes, HourThatIsLeftOutAndHourThatComesTwice) {
  struct ChangeCase {
    const char *stamp, *zone;
    LogTime shown;
  };
  for (const ChangeCase& c :
       {ChangeCase{"29/Mar/2026:01:59:59", "+0100", At(3, 29, "01:59:59")},
        ChangeCase{"29/Mar/2026:03:00:00", "+0200", At(3, 29, "03:00:00")},
        // Such a time exists on no clock of this zone, but a server with a zone of its own writes it.
        ChangeCase{"29/Mar/2026:02:30:00", "+0100", At(3, 29, "03:30:00")},
        ChangeCase{"29/Mar/2026:01:00:00", "+0000", At(3, 29, "03:00:00")},
        ChangeCase{"25/Oct/2026:02:30:00", "+0200", At(10, 25, "02:30:00")},
        ChangeCase{"25/Oct/2026:02:30:00", "+0100", At(10, 25, "02:30:00")},
        ChangeCase{"25/Oct/2026:02:59:59", "+0200", At(10, 25, "02:59:59")},
        ChangeCase{"25/Oct/2026:00:59:59", "+0000", At(10, 25, "02:59:59")},
        ChangeCase{"25/Oct/2026:01:00:00", "+0000", At(10, 25, "02:00:00")},
        ChangeCase{"25/Oct/2026:03:00:00", "+0100", At(10, 25, "03:00:00")}}) {
    TimesRig rig(LogType::kNCSA);
    rig.ChangeClocks();
    EXPECT_EQ(rig.Ncsa(std::string(c.stamp) + " " + c.zone), c.shown) << c.stamp << " " << c.zone;
  }
}

TEST(TrueTimes, LogsInUtcTakeTheOffsetOfTheirInstant) {
  for (const LogType type : {LogType::kW3C, LogType::kISA}) {
    const char mark = FormatOf(type).separator;
    TimesRig rig(type);
    rig.ChangeClocks();
    const auto shown = [&](const std::string& date, const std::string& time) {
      return rig.parser.ReadTime(date + mark + time + mark + "10.0.0.1");
    };
    EXPECT_EQ(shown("2026-03-04", "23:30:00"), At(3, 5, "00:30:00"));
    EXPECT_EQ(shown("2026-07-01", "22:30:00"), At(7, 2, "00:30:00"));
    EXPECT_EQ(shown("2026-10-25", "00:30:00"), At(10, 25, "02:30:00"));
    EXPECT_EQ(shown("2026-10-25", "01:30:00"), At(10, 25, "02:30:00"));
  }
}

TEST(TrueTimes, LogsInLocalTimeStandAsTheyAreWritten) {
  struct LocalCase {
    LogType type;
    const char* line;
    bool use_local_time;
  };
  for (const LocalCase& c : {LocalCase{LogType::kIIS, "10.0.0.1, -, 7/1/2026, 9:30:00,", false},
                             LocalCase{LogType::kProxy, "10.0.0.1, -, A, Y, 7/1/2026, 9:30:00,", false},
                             LocalCase{LogType::kFirewall, "2026-07-01 09:30:00 DROP TCP", false},
                             LocalCase{LogType::kW3C, "2026-07-01 09:30:00 10.0.0.1", true},
                             LocalCase{LogType::kISA, "2026-07-01\t09:30:00\t10.0.0.1", true}}) {
    TimesRig rig(c.type, 0, c.use_local_time);
    rig.ChangeClocks();
    EXPECT_EQ(rig.parser.ReadTime(c.line), At(7, 1, "09:30:00")) << c.line;
  }
}

TEST(TrueTimes, ZoneOfALineCountsWithLocalTimeToo) {
  TimesRig rig(LogType::kNCSA, kHour, true);
  EXPECT_EQ(rig.Ncsa("05/Mar/2026:12:00:00 -0700"), At(3, 5, "20:00:00"));
}

TEST(TrueTimes, WithoutADateTheDayIsThatOfTheLogsZone) {
  TimesRig rig(LogType::kW3C, 2 * kHour);
  rig.parser.MapFields("TIME C-IP");
  rig.clock.now = {At(3, 5, "00:30:00").s};
  EXPECT_EQ(rig.parser.ReadTime("22:29:00 10.0.0.1"), At(3, 5, "00:29:00"));
  TimesRig west(LogType::kW3C, -7 * kHour);
  west.parser.MapFields("TIME C-IP");
  west.clock.now = {At(3, 5, "20:00:00").s};
  EXPECT_EQ(west.parser.ReadTime("02:59:00 10.0.0.1"), At(3, 5, "19:59:00"));
}

TEST(TrueTimes, YearsFarAwayAreNoTrouble) {
  TimesRig rig(LogType::kNCSA, kHour);
  EXPECT_EQ(rig.Ncsa("05/Mar/9999:23:30:00 +0000"), MakeLogTime(*MakeDay(9999, 3, 6), 1800));
  EXPECT_EQ(rig.Ncsa("05/Mar/0001:23:30:00 +0000"), MakeLogTime(*MakeDay(1, 3, 6), 1800));
}

}  // namespace
}  // namespace vantry
