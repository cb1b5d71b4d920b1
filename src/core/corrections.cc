#include "core/corrections.h"

#include <algorithm>

#include "core/text.h"

namespace vantry {
namespace {

using C = Corrections;

constexpr CorrectionRow kRows[] = {
    {"TrueTimes", &C::TrueTimes, nullptr, 0,
     "A hit is shown at the time at which it happened: each line's zone counts (W3C logs are in UTC, other logs "
     "without a zone in local time), in the machine's zone as it was at that instant.",
     "logs/line_parser.cc"},
    {"NcsaFields", &C::NcsaFields, nullptr, 0,
     "Quoted fields of an NCSA line are read whole, page and query are parted, a virtual host in front is skipped, and "
     "user names may hold blanks.",
     "logs/ncsa_line.cc"},
    {"WholeLines", &C::WholeLines, nullptr, 0,
     "The last line of a log is left alone until its end is there, and empty lines and comments make no visitors.",
     "scan/read_log.cc"},
    {"WaitForLog", &C::WaitForLog, nullptr, 0,
     "A log that is missing, empty or only a header is told once a run and looked for every minute; its site is not "
     "paused.",
     "scan/log_wait.cc"},
    {"FollowRotation", &C::FollowRotation, nullptr, 0,
     "A log that was renamed, replaced or cut is read to its end before the new one is read from its beginning; each "
     "line counts once.",
     "scan/log_follower.cc"},
    {"CatchUpRollover", &C::CatchUpRollover, nullptr, 0,
     "The day changes at the first tick after midnight, whichever minute that is.", "scan/scan_cycle.cc"},
    {"Immediate", &C::Immediate, nullptr, 0,
     "A local log is watched and read within 100 ms of a change, ten times a second at most.", "scan/log_watch.cc"},
    {"SeekToday", &C::SeekToday, nullptr, 0,
     "A first scan finds the first of today's lines by halving and does not read what comes before.",
     "scan/first_of_today.cc"},
    {"QuickStart", &C::QuickStart, nullptr, 0, "The first scans follow each other at once.", "app/engine.cc"},
    {"QuietFirstScan", &C::QuietFirstScan, nullptr, 0,
     "Lines that a new site's log had before the start fill lists and history and act on nobody: no mail, short "
     "message, program, sound or event.",
     "core/quiet_lines.h"},
    {"QuietReplay", &C::QuietReplay, nullptr, 0,
     "A restart changes no number and acts on nothing twice; read positions are saved every minute (SaveEvery).",
     "scan/, database/"},
    {"TodaysNames", &C::TodaysNames, nullptr, 0, "Browsers, systems, devices and spiders are told by today's lists.",
     "scan/agent_names.cc"},
    {"KeepEdits", &C::KeepEdits, nullptr, 0,
     "Edits of the INI files are taken over within 10 seconds, and nothing is overwritten unread.",
     "app/live_edits.cc"},
    {"WideKeys", &C::WideKeys, nullptr, 0,
     "New tables hold 45 characters of an address, 60 of a site's name and 30 of a browser's.", "database/schema.cc"},
    {"GroupsPerSite", &C::GroupsPerSite, nullptr, 0, "A DNS group holds within its site.", "scan/visitor_hits.cc"},
    {"KeepHigherDaySum", &C::KeepHigherDaySum, nullptr, 0, "A restart never writes a day's sums down.",
     "database/visit_database.cc"},
    {"KeepExcluded", &C::KeepExcluded, nullptr, 0,
     "A referrer that was excluded from the top referrers stays so, however many visitors come from it.",
     "database/record_operations.cc"},
    {"KeepGroups", &C::KeepGroups, nullptr, 0, "The DNS groups stay as they are when one of those entered is refused.",
     "desktop/group_window.cc"},
    {"RaiseWithoutHistory", &C::RaiseWithoutHistory, nullptr, 0,
     "Exceptions are raised and mailed when their table can't be read; only the stored row is missing.",
     "alerts/exceptions.cc"},
    {"KeepUnsentMail", &C::KeepUnsentMail, nullptr, 0,
     "Mail that could not be sent waits in a file, is tried again after 1, 2, 4 to 15 minutes and at the next start, "
     "and goes out once.",
     "notify/mail_queue.cc"},
    {"RepeatMinutes", nullptr, &C::RepeatMinutes, 60,
     "Exceptions 110, 120 and 123 are raised once in that many minutes while their condition lasts.",
     "alerts/exceptions.cc"},
    {"MaxVisitors", nullptr, &C::MaxVisitors, 200000,
     "Visitors beyond that many are one row of their site with the address \"other\".", "scan/visitor_hits.cc"},
    {"MaxPrograms", nullptr, &C::MaxPrograms, 8, "That many started programs run at once; more wait their turn.",
     "platform/program_starter.cc"},
    {"TestEveryPage", &C::TestEveryPage, nullptr, 0,
     "An alert's page masks are tested at every view, its host masks when the name arrives; it fires once a visit.",
     "alerts/alerts.cc"},
    {"SleepOverMidnight", &C::SleepOverMidnight, nullptr, 0,
     "A sleep may last over midnight, and waking leaves a site alone that was paused by hand.", "scan/scan_cycle.cc"},
    {"KeepFixedLayout", &C::KeepFixedLayout, nullptr, 0, "A \"#Fields\" line in a log of fixed layout is a comment.",
     "scan/scan_cycle.cc"},
    {"AnswerPaused", &C::AnswerPaused, nullptr, 0, "Pages come while monitoring is paused, and say so.",
     "web/web_server.cc"},
    {"ReadablePages", &C::ReadablePages, nullptr, 0,
     "Pages have readable contrast, fit a phone, explain their colours, and show \"never\" for a site that was not "
     "read yet.",
     "web/page_style.cc"},
    {"PhonesLogIn", &C::PhonesLogIn, nullptr, 0, "The login holds for phones too.", "web/login_check.cc"},
    {"RefuseEmptyLogin", &C::RefuseEmptyLogin, nullptr, 0, "An empty WebUsername lets nobody in.",
     "web/credentials.cc"},
    {"LoginCookie", &C::LoginCookie, nullptr, 0, "A login is a random cookie, and /?LOGOUT ends it.", "web/logins.cc"},
    {"DecodeForms", &C::DecodeForms, nullptr, 0,
     "Names and passwords may hold signs and capitals, and are compared exactly.", "web/request_reader.cc"},
    {"OwnSiteOnly", &C::OwnSiteOnly, nullptr, 0, "The user of a site sees that site alone, on every page and in LIST.",
     "web/page_parts.cc"},
    {"SlowGuessing", &C::SlowGuessing, nullptr, 0,
     "After ten wrong passwords the answers wait 1, 2, 4 to 30 seconds; nobody is locked out.", "web/guess_brake.cc"},
    {"ControlAlone", &C::ControlAlone, nullptr, 0,
     "A control line counts only as the first line of a connection, or after another one.", "web/web_server.cc"},
    {"CheckHost", &C::CheckHost, nullptr, 0,
     "Only addresses, localhost and the names in AllowedHosts of [Security] are served.", "web/host_check.cc"},
    {"IsoDates", &C::IsoDates, nullptr, 0, "Dates are saved as yyyy-MM-dd hh:mm:ss; both forms are read.",
     "config/site_file.cc"},
    {"OneDataFolder", &C::OneDataFolder, nullptr, 0,
     "The robots cache and the program log are read and written in one folder, wherever DDFPath was set.",
     "app/engine.cc"},
    {"FetchAside", &C::FetchAside, nullptr, 0,
     "While a remote log is fetched, other sites are scanned and visits end; a server that falls silent is given up "
     "after 120 s in a first scan too.",
     "scan/fetch.cc"},
    {"ResumeUnsized", &C::ResumeUnsized, nullptr, 0,
     "A remote log whose server tells no size is read on from where it was left.", "scan/remote_logs.cc"},
    {"FreshBestDate", &C::FreshBestDate, nullptr, 0,
     "The newest file of a remote folder is the newest that its listing shows now.", "scan/remote_logs.cc"},
    {"TellFetchOnce", &C::TellFetchOnce, nullptr, 0,
     "Trouble with an FTP server is told when it begins or changes, not at every scan.", "scan/remote_logs.cc"},
    {"TouchEachSite", &C::TouchEachSite, nullptr, 0,
     "Each site that is touched has a request of its own, and what comes of it is booked to that site.",
     "monitors/touch.cc"},
};

}  // namespace

std::span<const CorrectionRow> CorrectionRows() {
  return kRows;
}

const CorrectionRow* FindCorrection(std::string_view key) {
  const auto row = std::find_if(std::begin(kRows), std::end(kRows),
                                [&](const CorrectionRow& r) { return EqualsNoCase(r.key, key); });
  return row == std::end(kRows) ? nullptr : row;
}

}  // namespace vantry
