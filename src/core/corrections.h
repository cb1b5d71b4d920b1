// Behaviour that hurts on today's servers, and its correction. The classic behaviour holds unless an operator
// switches a correction on in registry.ini. A correction is a plain field here, asked at the one place where it acts.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace vantry {

// Set once at the start. Numbers are 0 while their correction is off.
struct Corrections {
  bool TrueTimes = false;
  bool NcsaFields = false;
  bool WholeLines = false;
  bool WaitForLog = false;
  bool FollowRotation = false;
  bool CatchUpRollover = false;
  bool Immediate = false;
  bool SeekToday = false;
  bool QuickStart = false;
  bool QuietFirstScan = false;
  bool QuietReplay = false;
  bool TodaysNames = false;
  bool KeepEdits = false;
  bool WideKeys = false;
  bool GroupsPerSite = false;
  bool KeepHigherDaySum = false;
  bool KeepExcluded = false;
  bool KeepGroups = false;
  bool RaiseWithoutHistory = false;
  bool KeepUnsentMail = false;
  int32_t RepeatMinutes = 0;
  int32_t MaxVisitors = 0;
  int32_t MaxPrograms = 0;
  bool TestEveryPage = false;
  bool SleepOverMidnight = false;
  bool KeepFixedLayout = false;
  bool AnswerPaused = false;
  bool ReadablePages = false;
  bool PhonesLogIn = false;
  bool RefuseEmptyLogin = false;
  bool LoginCookie = false;
  bool DecodeForms = false;
  bool OwnSiteOnly = false;
  bool SlowGuessing = false;
  bool ControlAlone = false;
  bool CheckHost = false;
  bool IsoDates = false;
  bool OneDataFolder = false;
  bool FetchAside = false;
  bool ResumeUnsized = false;
  bool FreshBestDate = false;
  bool TellFetchOnce = false;
  bool TouchEachSite = false;

  int32_t SaveEvery = 60;  // Seconds between two saves of the read positions with QuietReplay. Not a correction itself.
};

struct CorrectionRow {
  std::string_view key;
  // One of the two; the other is null.
  bool Corrections::*flag = nullptr;
  int32_t Corrections::*number = nullptr;
  int32_t standard = 0;       // What True means for a number.
  std::string_view sentence;  // What holds when it is on.
  std::string_view where;     // The source in which it acts.

  int32_t Value(const Corrections& c) const { return flag ? static_cast<int32_t>(c.*flag) : c.*number; }
  void Set(Corrections& c, int32_t value) const {
    if (flag) {
      c.*flag = value != 0;
    } else {
      c.*number = value;
    }
  }
};

std::span<const CorrectionRow> CorrectionRows();

// Without regard to case; null when there is none.
const CorrectionRow* FindCorrection(std::string_view key);

}  // namespace vantry
