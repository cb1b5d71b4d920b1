// The settings of the whole installation. The values here are the defaults before SETTINGS.INI is read.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "config/exception_types.h"

namespace vantry {

struct SearchEngine {
  std::string name;
  std::string match;  // Lower-case substring of a lower-cased URL.
};

struct Settings {
  static constexpr size_t kMaxMasks = 50, kMaxExtensions = 30, kMaxEngines = 50;

  int32_t InactivityMins = 10;
  bool ReverseDNS = true;
  std::string DDFPath;  // The data folder, used as a prefix: no separator is added to the value read.
  std::string DefaultSound;
  bool NewVisitorSound = true;
  bool ChangeIconDuringScan = true;
  bool AutoHide = false;
  bool AutoArchive = false;
  int32_t AutoArchiveDays = 60;
  int32_t AutoArchiveTime = 2 * 3600;  // Seconds since midnight.
  bool WebAccess = true;               // Kept and shown; the listener starts whatever it says.
  bool WebAccessControl = false;
  int32_t WebAccessPort = 8004;
  std::string WebColBackColor = "#FFFFFF", WebColButtonBorder = "#316AC5", WebColButtonFace = "#E1E6E8",
              WebColButtonHighlight = "#C1D2EE", WebColDarkBorder = "#00138C", WebColGrid = "#808080",
              WebColGridBack = "#FFFFFF", WebColGridHeader = "#ECE9D8", WebColLiteBorder = "#1F77F6",
              WebColTableHeading = "#2660DD";
  bool WebAccessLog = true;
  bool WebAccessEmail = false;
  bool WAPAccess = true;
  std::string WebUsername, WebPassword;
  bool NoSpiders = false;
  std::string EmailServer, EmailUserName, EmailPassword, EmailSendTo, EmailFrom;
  std::string EmailSubject = "Message From Vantry";
  int32_t EmailEvery = 2;
  bool EmailDailyReport = false;
  bool SQLServer = false;
  std::string SQLServerName = "(local)";
  bool SQLServerAuth = true;
  std::string SQLServerUser, SQLServerPass;
  int32_t SQLServerMins = 15;
  int32_t SMSConnect = 0;
  std::string SMSServerName = "localhost";
  int32_t SMSServerPort = 3339;
  std::string SMSFolder;

  // Places may be empty in the middle; place n of the file is index n - 1.
  std::array<std::string, kMaxMasks> DNSMask = DefaultMasks();
  std::vector<std::string> Extension;  // Lower case, at most kMaxExtensions.
  std::vector<SearchEngine> SearchEngines = DefaultEngines();
  std::vector<ExceptionType> ExceptionTypes;

  static std::array<std::string, kMaxMasks> DefaultMasks();
  static std::vector<std::string> DefaultExtensions();
  static std::vector<SearchEngine> DefaultEngines();
};

}  // namespace vantry
