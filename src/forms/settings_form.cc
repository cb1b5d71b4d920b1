#include "forms/settings_form.h"

#include <algorithm>

#include "config/exception_types.h"
#include "config/settings_file.h"
#include "config/value_forms.h"
#include "core/text.h"
#include "forms/kept_fields.h"

namespace vantry {
namespace {

using G = Settings;
using FK = FieldKind;

constexpr SettingsPage kPages[] = {
    {"General", "miGeneral", "General Options", "", "options"},
    {"General", "miEmail", "Email Options",
     "Vantry can send your emails when certain events occur, such as Exceptions and Alerts. You can also receive "
     "emailed reports. Use this tab to configure how Vantry will send emails.",
     "reports"},
    {"General", "miHTTP", "Web/Wap Access",
     "You can monitor Vantry remotely via a web browser. This allows you to view your web site's visitor activity from "
     "other computers, apart from the computer running Vantry. ",
     "web"},
    {"General", "miDatabase", "Database",
     "Vantry maintains a high performance database of visits, visitors, referrers and exceptions. You can create "
     "reports on this data using any ODBC compliant application.",
     "options"},
    {"Log Scanning", "miReferrers", "Referring Sites",
     "You can configure Alerts for sites that you monitor. These alerts can be based on the visitor's referrer. Use "
     "this list to define a standard set of referrers that you can use to create alerts.",
     "options"},
    {"Log Scanning", "miExtensions", "File Types",
     "This list defines which file types Vantry watches for when visitors are browsing your site. Only requests for "
     "the above file types will show in the visitors list.",
     "options"},
    {"Log Scanning", "miArchive", "Archiving",
     "If the Auto Archiving feature is enabled your web server log files will be Zipped into an archive file "
     "automatically when they reach the age specified. You can enable archiving on a site-by-site basis also.",
     "archive"},
    {"Exception Raising", "miExceptions", "Exception Types",
     "Whenever any of the above events occur, Vantry will raise an exception. Exceptions show on the exceptions list. "
     "As exceptions are raised they can  be emailed to you or sent to your phone via a SMS text message.",
     "exceptions"},
    {"Exception Raising", "miSQL", "SQL Server",
     "If you enable SQL Server monitoring Vantry will attempt to login to your SQL Server periodically. If the login "
     "fails an exception will be raised which can be emailed to you or sent to your phone via a SMS text message.",
     "sql-server"},
    {"Exception Raising", "miSMSSettings", "SMS Settings",
     "These settings define how Vantry will send SMS Text messages to the SMS Server. The SMS Server actually handles "
     "the sending of the text message to your mobile phone. You can send via a TCP port or via a text fille.",
     "sms"},
};

constexpr Choice kArchiveHours[] = {
    {"0:00", 0},      {"1:00", 3600},   {"2:00", 7200},   {"3:00", 10800},  {"4:00", 14400},  {"5:00", 18000},
    {"6:00", 21600},  {"7:00", 25200},  {"8:00", 28800},  {"9:00", 32400},  {"10:00", 36000}, {"11:00", 39600},
    {"12:00", 43200}, {"13:00", 46800}, {"14:00", 50400}, {"15:00", 54000}, {"16:00", 57600}, {"17:00", 61200},
    {"18:00", 64800}, {"19:00", 68400}, {"20:00", 72000}, {"21:00", 75600}, {"22:00", 79200}, {"23:00", 82800}};
constexpr Choice kSmsRoads[] = {{"Sen&d To SMS Server Via a TCP/IP Connection", 0},
                                {"Send To SMS Server Via A Te&xt File", 1}};

const FormField<Settings> kSettingsRows[] = {
    Edits<&G::InactivityMins>(
        "InactivityMins",
        {"miGeneral", "txtMins", "&Remove Visitors After Inactivity Of:", FK::kNumber, {}, "Minutes"}),
    Edits<&G::ReverseDNS>("ReverseDNS", {"miGeneral", "chkDNS", "Perform Reverse &DNS Lookups", FK::kCheck}),
    Edits<&G::NewVisitorSound>(
        "NewVisitorSound", {"miGeneral", "chkMakeSoundAll", "&Make A Sound When A New Visitor Arrives", FK::kCheck}),
    Edits<&G::DefaultSound>("DefaultSound", {"miGeneral", "txtSound", "&Sound File:"}),
    Edits<&G::NoSpiders>("NoSpiders", {"miGeneral", "chkNoSpiders", "&Ignore All Spiders", FK::kCheck}),
    Edits<&G::ChangeIconDuringScan>("ChangeIconDuringScan",
                                    {"miGeneral", "chkSiteIcon", "&Change The Site's Icon During A Scan", FK::kCheck}),
    Edits<&G::AutoHide>("AutoHide", {"miGeneral", "chkHide", "&Hide The Main Window At The Start", FK::kCheck}),

    Edits<&G::EmailServer>("EmailServer", {"miEmail", "txtSMTPServer", "&Mail Server:"}),
    Edits<&G::EmailUserName>("EmailUserName", {"miEmail", "txtSMTPUser", "&User Name (If Required):"}),
    Edits<&G::EmailPassword>("EmailPassword", {"miEmail", "txtSMTPPassword", "&Password:", FK::kPassword}),
    Edits<&G::EmailSendTo>("EmailSendTo", {"miEmail", "txtSendTo", "&Send To:"}),
    Edits<&G::EmailFrom>("EmailFrom", {"miEmail", "txtFromAddress", "&From Address:"}),
    Edits<&G::EmailSubject>("EmailSubject", {"miEmail", "txtSubject", "Sub&ject:"}),
    Edits<&G::EmailEvery>("EmailEvery",
                          {"miEmail", "txtEmailEvery", "Send Pending Emails &Every:", FK::kNumber, {}, "Minutes"}),

    Edits<&G::WebAccess>("WebAccess", {"miHTTP", "chkWebAccess", "Enable &Web Access", FK::kCheck}),
    Edits<&G::WebAccessPort>("WebAccessPort", {"miHTTP", "txtPort", "&Port:", FK::kNumber}),
    Edits<&G::WebAccessControl>("WebAccessControl",
                                {"miHTTP", "chkWebAccessControl", "&Require A User Name && Password", FK::kCheck}),
    Edits<&G::WebUsername>("WebUsername", {"miHTTP", "txtWebUser", "&User Name:"}),
    Edits<&G::WebPassword>("WebPassword", {"miHTTP", "txtWebPass", "Pass&word:", FK::kPassword}),
    Edits<&G::WAPAccess>("WAPAccess", {"miHTTP", "chkWAPAccess", "Enable W&AP Access", FK::kCheck}),
    Edits<&G::WebAccessLog>("WebAccessLog", {"miHTTP", "chkWebAccessLog", "&Log Web Access", FK::kCheck}),
    Edits<&G::WebAccessEmail>("WebAccessEmail",
                              {"miHTTP", "chkWebAccessEmail", "Send An &Email At Each Login", FK::kCheck}),

    {{"miReferrers", "", "Use this table to edit or add to the list of available referring sites.", FK::kNote}},
    {{"miExtensions", "", "Enter the file extensions that Vantry checks for when scanning your log files:", FK::kNote}},

    Edits<&G::AutoArchive>("AutoArchive",
                           {"miArchive", "chkArchive", "Ena&ble Automatic Log File Archiving", FK::kCheck}),
    Edits<&G::AutoArchiveDays>(
        "AutoArchiveDays", {"miArchive", "txtArchiveDays", "&Zip Up Log Files Older Than:", FK::kNumber, {}, "Days"}),
    Edits<&G::AutoArchiveTime>(
        "AutoArchiveTime", {"miArchive", "cmboArchive", "Run Aut&o-Archive At:", FK::kChoice, kArchiveHours, {}, true}),

    Edits<&G::SQLServer>("SQLServer", {"miSQL", "chkSQLServer", "Enable S&QL Server Monitoring", FK::kCheck}),
    Edits<&G::SQLServerName>("SQLServerName", {"miSQL", "txtSQLName", "SQL Server Instance:"}),
    Edits<&G::SQLServerAuth>("SQLServerAuth", {"miSQL", "chkSQLAuth", "&Use NT Authentication", FK::kCheck}),
    Edits<&G::SQLServerUser>("SQLServerUser", {"miSQL", "txtSQLUser", "User &Name:"}),
    Edits<&G::SQLServerPass>("SQLServerPass", {"miSQL", "txtSQLPassword", "&Password:", FK::kPassword}),
    Edits<&G::SQLServerMins>("SQLServerMins", {"miSQL", "txtSQLMins", "Check Every:", FK::kNumber, {}, "Minutes"}),

    Edits<&G::SMSConnect>("SMSConnect", {"miSMSSettings", "optSMS", "SMS Server", FK::kRadio, kSmsRoads}),
    Edits<&G::SMSServerName>("SMSServerName",
                             {"miSMSSettings", "txtSMSServerName",
                              "Enter The Com&puter Name Or IP Address Of The Computer Running SMS Server:"}),
    Edits<&G::SMSServerPort>("SMSServerPort", {"miSMSSettings", "txtSMSServerPort", "UDP Port Number:", FK::kNumber}),
    Edits<&G::SMSFolder>("SMSFolder", {"miSMSSettings", "txtSMSFolder",
                                       "Enter The Folder Where SMS Server Will Watch For Text Messages:"}),
};

const FormField<Settings> kColourRows[] = {
    Edits<&G::WebColBackColor>("WebColBackColor", {"Colours", "WebColBackColor", "&Background:"}),
    Edits<&G::WebColTableHeading>("WebColTableHeading", {"Colours", "WebColTableHeading", "&Table Heading:"}),
    Edits<&G::WebColGrid>("WebColGrid", {"Colours", "WebColGrid", "&Grid Lines:"}),
    Edits<&G::WebColGridBack>("WebColGridBack", {"Colours", "WebColGridBack", "Grid B&ackground:"}),
    Edits<&G::WebColGridHeader>("WebColGridHeader", {"Colours", "WebColGridHeader", "Grid &Header:"}),
    Edits<&G::WebColButtonFace>("WebColButtonFace", {"Colours", "WebColButtonFace", "Button &Face:"}),
    Edits<&G::WebColButtonBorder>("WebColButtonBorder", {"Colours", "WebColButtonBorder", "Button B&order:"}),
    Edits<&G::WebColButtonHighlight>("WebColButtonHighlight",
                                     {"Colours", "WebColButtonHighlight", "Button H&ighlight:"}),
    Edits<&G::WebColDarkBorder>("WebColDarkBorder", {"Colours", "WebColDarkBorder", "&Dark Border:"}),
    Edits<&G::WebColLiteBorder>("WebColLiteBorder", {"Colours", "WebColLiteBorder", "&Light Border:"}),
};

constexpr Enabling kEnablingRows[] = {
    {"chkMakeSoundAll", true, "txtSound"},         {"chkWebAccess", true, "txtPort"},
    {"chkWebAccess", true, "chkWebAccessControl"}, {"chkWebAccess", true, "chkWAPAccess"},
    {"chkWebAccess", true, "chkWebAccessLog"},     {"chkWebAccess", true, "chkWebAccessEmail"},
    {"chkWebAccess", true, "txtWebUser"},          {"chkWebAccess", true, "txtWebPass"},
    {"chkWebAccessControl", true, "txtWebUser"},   {"chkWebAccessControl", true, "txtWebPass"},
    {"chkArchive", true, "txtArchiveDays"},        {"chkArchive", true, "cmboArchive"},
    {"chkSQLServer", true, "txtSQLName"},          {"chkSQLServer", true, "chkSQLAuth"},
    {"chkSQLServer", true, "txtSQLUser"},          {"chkSQLServer", true, "txtSQLPassword"},
    {"chkSQLServer", true, "txtSQLMins"},          {"chkSQLAuth", false, "txtSQLUser"},
    {"chkSQLAuth", false, "txtSQLPassword"},       {"optSMS", false, "txtSMSServerName"},
    {"optSMS", false, "txtSMSServerPort"},         {"optSMS", true, "txtSMSFolder"},
};

using X = ExceptionType;
constexpr Choice kLevels[] = {{"Information", 4}, {"Warning", 2}, {"Error", 1}};

const FormField<ExceptionType> kExceptionRows[] = {
    Edits<&X::Number>({"General", "txtNumber", "&Number:", FK::kNumber}),
    Edits<&X::Description>("Description", {"General", "txtDesc", "&Description:"}),
    Edits<&X::Value>("Value", {"General", "txtValue", "&Value:"}),
    Edits<&X::Raise>("Raise", {"General", "chkRaise", "&Raise This Exception", FK::kCheck}),
    Edits<&X::Email>("Email", {"Email", "chkEmail", "&Email This Exception", FK::kCheck}),
    Edits<&X::EmailAddress>("EmailAddress", {"Email", "txtEmailAddress", "Email &Address:"}),
    Edits<&X::SMS>("SMS", {"SMS Text", "chkSMS", "Send A &SMS Text Message", FK::kCheck}),
    Edits<&X::SMSNumber>("SMSNumber", {"SMS Text", "txtSMSName", "SMS Server Address &Book Entry:"}),
    Edits<&X::NetMsg>("NetMsg", {"Net Message", "chkNetMSG", "Send A Net &Message", FK::kCheck}),
    Edits<&X::NetDNS>("NetDNS", {"Net Message", "txtNetName", "&Computer:"}),
    Edits<&X::EventLog>("EventLog", {"Event Log", "chkEventLog", "Write To The Event &Log", FK::kCheck}),
    Edits<&X::EventLevel>("EventLevel", {"Event Log", "cmboET_LEVEL", "Le&vel:", FK::kChoice, kLevels}),
    Edits<&X::RunProgram>("RunProgram", {"Run Program", "chkRunProgram", "Run A &Program Or Script", FK::kCheck}),
    Edits<&X::Run>("Run", {"Run Program", "txtEXE", "Program &Or Script:"}),
};

FormProblem Wrong(std::string_view control, std::string_view text) {
  return {control, std::string(text)};
}

std::optional<FormProblem> CheckSettingsKept(const Settings& draft) {
  Settings read;
  (void)ParseSettings(FormatSettings(draft), read);
  if (auto problem = FirstLost(kSettingsFields, draft, read, "settings file")) return problem;
  if (auto problem = FirstLost(kWebColours, draft, read, "settings file")) return problem;
  if (draft.Extension.empty()) {
    return Wrong("extGrid", "Enter a file extension. Without one the next start takes the usual list.");
  }
  if (read.Extension != draft.Extension) {
    return Wrong("extGrid", "The settings file can't keep one of these extensions. Leave out line ends.");
  }
  ParseSearchEngines(RewriteSearchEngines("", draft.SearchEngines), read);
  const bool same = std::equal(
      draft.SearchEngines.begin(), draft.SearchEngines.end(), read.SearchEngines.begin(), read.SearchEngines.end(),
      [](const SearchEngine& a, const SearchEngine& b) { return a.name == b.name && a.match == b.match; });
  if (same) return std::nullopt;
  return Wrong("refGrid", "The file of referring sites can't keep one of these texts. Leave out line ends.");
}

}  // namespace

const std::span<const SettingsPage> kSettingsPages = kPages;
const std::span<const FormField<Settings>> kSettingsFields = kSettingsRows;
const std::span<const FormField<Settings>> kWebColours = kColourRows;
const std::span<const Enabling> kEnablings = kEnablingRows;
const std::span<const FormField<ExceptionType>> kExceptionFields = kExceptionRows;

void TidySettings(Settings& draft) {
  TrimTexts(kSettingsFields, draft);
  TrimTexts(kWebColours, draft);
  if (draft.WebAccessPort > 65'535) draft.WebAccessPort = 65'535;
  if (draft.SMSServerPort > 65'535) draft.SMSServerPort = 65'535;
}

std::optional<FormProblem> CheckSettings(const Settings& draft, Files& files) {
  if (draft.InactivityMins < 1) return Wrong("txtMins", "Minutes must be greater than zero");
  if (draft.InactivityMins < 2) return Wrong("txtMins", "The Inactivity Minutes must be at least 2");
  if (!draft.DefaultSound.empty() && !files.Exists(draft.DefaultSound)) {
    return FormProblem{.control = "txtSound", .text = "Sound File Does Not Exist", .warns = true};
  }
  if (draft.WebAccess && draft.WebAccessControl && draft.WebUsername.empty()) {
    return Wrong("txtWebUser", "If you enable web access control you must specify a user name.");
  }
  return CheckSettingsKept(draft);
}

void StoreSettings(const Settings& draft, Settings& settings) {
  for (const auto fields : {kSettingsFields, kWebColours}) {
    for (const FormField<Settings>& field : fields) {
      if (field.set) field.set(settings, field.get(draft));
    }
  }
  settings.SearchEngines = draft.SearchEngines;
  settings.Extension = draft.Extension;
}

std::string RewriteSearchEngines(std::string_view before, const std::vector<SearchEngine>& engines) {
  const std::vector<std::string_view> old = TextLines(before);
  std::string text;
  for (const SearchEngine& engine : engines) {
    const std::string start = engine.name + "," + engine.match;
    std::string_view line = start;
    for (const std::string_view candidate : old) {
      const auto fields = Split(candidate, ',');
      if (fields.size() > 1 && fields[0] == engine.name && fields[1] == engine.match) line = candidate;
    }
    text.append(line).append("\r\n");
  }
  return text;
}

std::vector<SearchEngine> TypedEngines(std::span<const std::string> names, std::span<const std::string> matches) {
  std::vector<SearchEngine> engines;
  for (size_t i = 0; i < std::min(names.size(), matches.size()); ++i) {
    const std::string_view name = Trim(names[i]), match = Trim(matches[i]);
    if (engines.size() == Settings::kMaxEngines || match.empty()) continue;
    // The file parts its fields by commas.
    SearchEngine& engine = engines.emplace_back(SearchEngine{std::string(name), std::string(match)});
    for (std::string* text : {&engine.name, &engine.match}) std::erase(*text, ',');
  }
  return engines;
}

std::vector<std::string> TypedExtensions(std::span<const std::string> rows) {
  std::vector<std::string> extensions;
  for (const std::string& row : rows) {
    std::string_view text = Trim(row);
    if (StartsWith(text, ".")) text.remove_prefix(1);
    if (!text.empty() && extensions.size() < Settings::kMaxExtensions) extensions.push_back(Lower(text));
  }
  return extensions;
}

std::string ShownDescription(const ExceptionType& type) {
  std::string text = type.Description;
  if (const size_t at = text.find("[value]"); at != std::string::npos) text.replace(at, 7, type.Value);
  return text;
}

void TidyExceptionType(ExceptionType& draft) {
  TrimTexts(kExceptionFields, draft);
  if (draft.Value.find_first_of("\r\n") != std::string::npos) return;  // Is told.
  std::vector<ExceptionType> read;
  (void)ReadExTypes(FormatExTypes({draft}), read);
  if (read.size() == 1) draft.Value = read[0].Value;
}

std::optional<FormProblem> CheckExceptionType(const ExceptionType& draft, Files& files) {
  if (draft.RunProgram && !files.Exists(draft.Run)) return Wrong("txtEXE", "EXE or Script File Does Not Exist");
  if (draft.SMS && draft.SMSNumber.empty()) {
    return Wrong("txtSMSName", "You must enter a SMS Server address book entry if you enable the SMS option.");
  }
  std::vector<ExceptionType> read;
  (void)ReadExTypes(FormatExTypes({draft}), read);
  if (read.size() != 1) return Wrong("txtDesc", "The file of exception types can't keep this type.");
  return FirstLost(kExceptionFields, draft, read[0], "file of exception types");
}

}  // namespace vantry
