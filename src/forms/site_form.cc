#include "forms/site_form.h"

#include "config/site_file.h"
#include "core/text.h"
#include "forms/kept_fields.h"

namespace vantry {
namespace {

using K = FieldKind;
using S = SiteRec;

constexpr Choice kTypeChoices[] = {{"W3C Extended", 0},         {"IIS Log File Format", 1},
                                   {"NCSA Common/Combined", 2}, {"MS Proxy Server Log Format", 3},
                                   {"WindowsXP Firewall", 4},   {"MS ISA Server", 5}};
constexpr Choice kSelectChoices[] = {{"By Date", 0}, {"Alphabetic", 1}, {"Always Use Same Name!", 2}};
constexpr Choice kPeriods[] = {{"5 Seconds", 5},    {"10 Seconds", 10},  {"30 Seconds", 30},
                               {"1 Minute", 60},    {"2 Minutes", 120},  {"5 Minutes", 300},
                               {"10 Minutes", 600}, {"15 Minutes", 900}, {"30 Minutes", 1800}};
constexpr Choice kHours[] = {{"0:00", 0},      {"1:00", 3600},   {"2:00", 7200},   {"3:00", 10800},  {"4:00", 14400},
                             {"5:00", 18000},  {"6:00", 21600},  {"7:00", 25200},  {"8:00", 28800},  {"9:00", 32400},
                             {"10:00", 36000}, {"11:00", 39600}, {"12:00", 43200}, {"13:00", 46800}, {"14:00", 50400},
                             {"15:00", 54000}, {"16:00", 57600}, {"17:00", 61200}, {"18:00", 64800}, {"19:00", 68400},
                             {"20:00", 72000}, {"21:00", 75600}, {"22:00", 79200}, {"23:00", 82800}};

constexpr std::string_view kGeneral = "General", kLogFiles = "Log Files", kLocation = "Log Files Location",
                           kEmail = "Email Settings", kWeb = "Web Access", kTouch = "Touch", kSleep = "Sleep Mode";

const FormField<SiteRec> kSiteRows[] = {
    Edits<&S::Name>("Name", {kGeneral, "txtName", "Site &Name:"}),
    Edits<&S::Domain>("Domain", {kGeneral, "txtDomain", "&Domain:"}),
    Edits<&S::HomePage>("HomePage", {kGeneral, "txtHomePage", "&Home Page for this site:"}),
    Edits<&S::ExcludePages>("ExcludePages", {kGeneral, "txtExcludePages",
                                             "E&xclude These Pages From Vantry: (Separate multiple pages with ;)"}),
    {{kGeneral, "", "Note: You can use wildcards if required. For example: support/*.htm", K::kNote}},
    Edits<&S::IncludeQuery>("IncludeQuery", {kGeneral, "chkQuery",
                                             "Include Query String In Current Page Details (If Available)", K::kCheck}),

    Edits<&S::Type>("Type", {kLogFiles, "cmboType", "Log File &Type:", K::kChoice, kTypeChoices}),
    Edits<&S::Frequency>("Frequency", {kLogFiles, "cmboFreq", "Scan Fre&quency:", K::kChoice, kPeriods}),
    Edits<&S::Mask>("Mask", {kLogFiles, "txtEXT", "Log File Mask:"}),
    {{kLogFiles, "",
      "If your log file name never changes, specify the full name for the log file in the File Mask box.", K::kNote}},
    Edits<&S::SelectMethod>(
        "SelectMethod", {kLogFiles, "cmboSelect", "Log File Selection Method Used To Select The Most Recent Log File:",
                         K::kChoice, kSelectChoices}),
    Edits<&S::Unix>("Unix", {kLogFiles, "chkUnix", "Unix &File Format", K::kCheck}),
    Edits<&S::UseLocalTime>("UseLocalTime", {kLogFiles, "chkLocalTime", "Log Files Use Local Time", K::kCheck}),

    {{kLocation, "", "You need to specify the location of the log files produced by the web server for this site.",
      K::kNote}},
    Edits<&S::FTP>("FTP", {kLocation, "chkFTP", "&Access Via FTP", K::kCheck}),
    Edits<&S::Folder>("Folder",
                      {kLocation, "txtLog", "Enter the fu&ll Drive and Path of the folder containing your log files:"}),
    Edits<&S::FTPDomain>("FTPDomain", {kLocation, "txtFTPDomain", "Doma&in or IP address of FTP Server:"}),
    Edits<&S::FTPUserName>("FTPUserName", {kLocation, "txtFTPUser", "User Na&me:"}),
    Edits<&S::FTPPassword>("FTPPassword", {kLocation, "txtFTPPw", "Passwo&rd:", K::kPassword}),
    Edits<&S::FTPPath>("FTPPath", {kLocation, "txtFTPPath", "Path &on FTP Server:"}),
    Edits<&S::FTPPassive>("FTPPassive", {kLocation, "chkFTPPassive",
                                         "FTP Passiv&e Mode (may be required if a firewall is in use):", K::kCheck}),
    Edits<&S::AutoArchive>("AutoArchive",
                           {kLocation, "chkAutoArchive", "Enable Auto-Archiving For This Site's Log Files", K::kCheck}),

    Edits<&S::EmailAddress>(
        "EmailAddress", {kEmail, "txtEmailAddress", "Re&cipients For This Site: (Separate multiple addresses with ;)"}),
    Edits<&S::EmailGlobalAlso>("EmailGlobalAlso",
                               {kEmail, "chkEmailGlobalAlso", "Send To Global Address Also", K::kCheck}),
    Edits<&S::EmailDailyReport>(
        "EmailDailyReport",
        {kEmail, "chkEmailDaily", "Send A Dail&y Activity Summary For This Site Each Day At Midnight", K::kCheck}),
    Edits<&S::EmailNoExceptions>(
        "EmailNoExceptions",
        {kEmail, "chkEmailNoExceptions",
         "Disable Emailed Exceptions && SMS Sending For Exceptions Raised For This Site", K::kCheck}),

    Edits<&S::WebAccess>("WebAccess", {kWeb, "chkWebAccess", "Enable &Web Access For This Site", K::kCheck}),
    Edits<&S::WebUserName>("WebUserName", {kWeb, "txtWebUser", "&User Name:"}),
    Edits<&S::WebPassword>("WebPassword", {kWeb, "txtWebPass", "&Password:", K::kPassword}),
    Edits<&S::WebLogo>("WebLogo", {kWeb, "txtLogo", "Site Logo:"}),
    Edits<&S::WebReferrers>("WebReferrers", {kWeb, "chkWebReferrers", "Enable Top Referrers View", K::kCheck}),

    {{kTouch, "",
      "When Touching is enabled Vantry will attempt to access your site via HTTP. If the attempt fails Vantry will "
      "raise an exception.",
      K::kNote}},
    Edits<&S::Touch>("Touch", {kTouch, "chkTouch", "Ena&ble Periodic Touching For This Site", K::kCheck}),
    Edits<&S::TouchEvery>("TouchEvery", {kTouch, "txtTouchMins", "Touch Every", K::kNumber, {}, "Minutes"}),
    Edits<&S::TouchPage>("TouchPage", {kTouch, "txtTouchPage", "Page To Touch:"}),

    Edits<&S::SleepMode>("SleepMode", {kSleep, "chkSleepMode", "Ena&ble Sleep Mode", K::kCheck}),
    Edits<&S::SleepStart>("SleepStart", {kSleep, "cmboCloseAll", "Go To &Sleep At :", K::kChoice, kHours, {}, true}),
    Edits<&S::SleepEnd>("SleepEnd", {kSleep, "cmboWakeUp", "Wake Up At:", K::kChoice, kHours, {}, true}),
};

FormProblem Problem(std::string_view control, std::string_view text) {
  return {control, std::string(text)};
}

bool FolderExists(Files& files, const std::string& folder) {
  std::unique_ptr<FolderReader> reader;
  return files.OpenFolder(folder, reader).ok();
}

bool SameSource(const SiteRec& a, const SiteRec& b) {
  return a.FTPDomain == b.FTPDomain && a.FTPPath == b.FTPPath && a.Type == b.Type && a.Folder == b.Folder &&
         a.SelectMethod == b.SelectMethod && a.Mask == b.Mask;
}

std::optional<FormProblem> CheckLocation(const SiteRec& draft, Files& files) {
  if (draft.FTP) {
    if (draft.FTPDomain.empty()) return Problem("txtFTPDomain", "You must specify an FTP Domain.");
    return std::nullopt;
  }
  if (draft.Folder.empty()) return Problem("txtLog", "You must specify a log file location.");
  if (!FolderExists(files, draft.Folder)) return Problem("txtLog", "Log file folder does not exist.");
  return std::nullopt;
}

std::optional<FormProblem> CheckNames(const SiteRec& draft) {
  if (draft.Name.empty()) return Problem("txtName", "You must specify a name.");
  if (draft.Domain.empty()) return Problem("txtDomain", "You must specify a domain name.");
  if (Contains(draft.Domain, " ")) return Problem("txtDomain", "The domain name cannot contain spaces.");
  return std::nullopt;
}

}  // namespace

const std::span<const FormField<SiteRec>> kSiteFields = kSiteRows;
const std::span<const Choice> kLogTypes = kTypeChoices;

std::optional<FormProblem> CheckKept(const SiteRec& draft, std::span<const FormField<SiteRec>> fields) {
  LiveTables written, read;
  written.Sites.push_back(draft);
  written.Sites.back().Deleted = false;
  const Regional regional;
  (void)ParseSites(FormatSites(regional, written), regional, read);
  if (read.SiteCount() != 1 || read.Site(1).Name != draft.Name) {
    return Problem("txtName", "The site file can't keep this name. Leave out square brackets and line ends.");
  }
  if (auto problem = FirstLost(fields, draft, read.Site(1), "site file")) return problem;
  if (read.Site(1).Exclude == draft.Exclude) return std::nullopt;
  return Problem("gridExclude", "The site file can't keep these addresses. Leave out line ends.");
}

void TidySite(SiteRec& draft) {
  TrimTexts(kSiteFields, draft);
  if (draft.Domain.ends_with('/')) draft.Domain.pop_back();
  // As the next start reads them.
  if (!draft.Folder.empty()) draft.Folder = WithSeparator(draft.Folder);
  if (Trim(draft.Mask).empty()) draft.Mask = "*.LOG";
}

std::optional<FormProblem> CheckSite(const SiteRec& draft, int16_t number, const LiveTables& t, Files& files,
                                     bool renaming) {
  if (auto problem = CheckLocation(draft, files)) return problem;
  if (auto problem = CheckNames(draft)) return problem;
  if (draft.Touch && draft.TouchEvery < 2) return Problem("txtTouchMins", "The minimum touch interval is 2 minutes.");
  if (draft.Name != t.Site(number).Name && !renaming) {
    return FormProblem{
        "txtName",
        "Are you sure you want to change the Site Name? Existing entries in the Vantry database refer to "
        "the old site name.",
        true};
  }
  for (int16_t n = 1; n <= t.SiteCount(); ++n) {
    const SiteRec& other = t.Site(n);
    if (n == number || other.Deleted) continue;
    if (other.Domain == draft.Domain) {
      return Problem("txtDomain", "This Domain is already being monitored. The Domain name must be unique.");
    }
    if (other.Name == draft.Name) return Problem("txtName", "The Site Name must be unique.");
  }
  return CheckKept(draft, kSiteFields);
}

bool StoreSite(const SiteRec& draft, SiteRec& site) {
  const bool anew = !SameSource(draft, site);
  for (const FormField<SiteRec>& field : kSiteFields) {
    if (field.set) field.set(site, field.get(draft));
  }
  site.Exclude = draft.Exclude;
  if (anew) StartAnew(site);
  return anew;
}

void StartAnew(SiteRec& site) {
  site.CaughtUp = site.FieldsKnown = false;
  site.ForceLookup = true;
  site.LastReadPos = site.LastReadPosDay = site.ReplayUntilPos = 0;
  site.LastFile = {};
  site.LeftLogs.clear();
  site.Stored = static_cast<const ReadState&>(site);
  site.TodayReserved = site.TodayVisitors = site.TodayAlerts = site.TodaySpiders = site.TodayExceptions =
      site.TodayDownloads = site.PeakToday = 0;
}

std::vector<std::string> ExcludedAddresses(std::string_view exclude) {
  std::vector<std::string> addresses;
  for (const std::string_view entry : Split(exclude, ';')) {
    if (!Trim(entry).empty()) addresses.emplace_back(Trim(entry));
  }
  return addresses;
}

std::string ExcludeList(std::span<const std::string> addresses) {
  std::string list;
  for (const std::string& address : addresses) {
    const std::string_view entry = Trim(address);
    if (entry.empty()) continue;
    if (!list.empty()) list += ';';
    list += entry;
  }
  return list;
}

}  // namespace vantry
