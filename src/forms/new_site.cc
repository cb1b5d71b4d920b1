#include "forms/new_site.h"

#include <algorithm>
#include <vector>

#include "config/site_file.h"
#include "config/value_forms.h"
#include "core/text.h"
#include "core/wildcard.h"
#include "forms/site_form.h"

namespace vantry {
namespace {

using N = SiteRec;
using NK = FieldKind;

constexpr NewSiteType kTypes[] = {
    {"W&3C Extended. Used by IIS web && FTP servers and other web servers.", LogType::kW3C, "ex*.log"},
    {"&IIS Log File Format. Used only by IIS web servers.", LogType::kIIS, "in*.log"},
    {"N&CSA Common or Combined. Used by Apache many other web servers.", LogType::kNCSA, "access_log"},
    {"MS Pro&xy Server. For monitoring outgoing web requests.", LogType::kProxy, "W3*.log"},
    {"MS XP Firewall. For monitoring XP's firewall acti&vity.", LogType::kFirewall, "pfirewall.log"},
    {"MS ISA Server. F&or monitoring outgoing web requests.", LogType::kISA, "web*.log"}};
constexpr Choice kTypeButtons[] = {{kTypes[0].caption, 0}, {kTypes[1].caption, 1}, {kTypes[2].caption, 2},
                                   {kTypes[3].caption, 3}, {kTypes[4].caption, 4}, {kTypes[5].caption, 5}};
constexpr Choice kRoads[] = {{"Di&rectly via a drive and path (Recommended).", 0}, {"Via F&TP.", 1}};

constexpr int16_t kMostSites = 32'766;  // As many as the site file holds.

constexpr std::string_view kHeadings[] = {"Welcome",       "Site Details",      "Log File Type",
                                          "Log File Mask", "Log File Location", "Testing FTP Connection",
                                          "Web Access",    "Wizard Complete!"};

// A radio button for yes and no.
FieldValue GetFtp(const SiteRec& site) {
  return int32_t{site.FTP};
}
void SetFtp(SiteRec& site, const FieldValue& value) {
  site.FTP = std::get<int32_t>(value) != 0;
}

const FormField<SiteRec> kNewRows[] = {
    {{kHeadings[0], "", "This Wizard will guide you though setting up a site to be monitored by Vantry", NK::kNote}},
    Edits<&N::Name>({kHeadings[1], "txtName", "Enter the &Name of the site (Eg: Site1):"}),
    Edits<&N::Domain>({kHeadings[1], "txtDomain", "&Domain:"}),
    {{kHeadings[2], "", "What type of log files does you web server create?", NK::kNote}},
    Edits<&N::Type>({kHeadings[2], "optType", "Log File Type", NK::kRadio, kTypeButtons}),
    {{kHeadings[2], "", "For best results enable logging of User Agent and Referrer.", NK::kNote}},
    {{kHeadings[3], "", "Vantry needs to know the file mask to use when selecting the log file:", NK::kNote}},
    Edits<&N::Mask>({kHeadings[3], "txtMask", "Log File &Mask:"}),
    {{kHeadings[3], "",
      "Enter as much of the unchanging part of the log file name as you can to make selection faster.", NK::kNote}},
    {{kHeadings[4], "", "Vantry needs to know the location of the log files produced by your web server.", NK::kNote}},
    {{kHeadings[4], "", "How do you access your log files?", NK::kNote}},
    {{kHeadings[4], "optAccess", "Access", NK::kRadio, kRoads}, &GetFtp, &SetFtp},
    Edits<&N::Folder>({kHeadings[4], "txtLoc", "&Folder of the log files:"}),
    Edits<&N::FTPDomain>({kHeadings[4], "txtFTPDomain", "Domain or IP address o&f FTP Server:"}),
    Edits<&N::FTPUserName>({kHeadings[4], "txtFTPUser", "User Na&me:"}),
    Edits<&N::FTPPassword>({kHeadings[4], "txtFTPPw", "Pass&word:", NK::kPassword}),
    Edits<&N::FTPPath>({kHeadings[4], "txtFTPPath", "Path on FTP &Server (Eg: /Logs/Site1/):"}),
    {{kHeadings[6], "", "Vantry allows you to view live visitor information remotely via a web browser.", NK::kNote}},
    {{kHeadings[6], "", "Do you want to enable Web Access for this site?", NK::kNote}},
    Edits<&N::WebAccess>({kHeadings[6], "chkWebAccess", "&Allow Web Access For This Site", NK::kCheck}),
    {{kHeadings[6], "",
      "Note: You can setup a User Name & Password to restrict web access to visitor information for this site if "
      "required.",
      NK::kNote}},
    {{kHeadings[7], "",
      "Vantry has enough information to start monitoring your site! You can change the site settings later if required "
      "by clicking the Site Properties button.",
      NK::kNote}},
    {{kHeadings[7], "",
      "After the Wizard has closed, right-click your site in the sites list and choose 'Start Monitoring' to start the "
      "monitoring process.",
      NK::kNote}},
    {{kHeadings[7], "", "Click the Finish button to continue.", NK::kNote}},
};

FormProblem NotYet(std::string_view control, std::string text) {
  return {control, std::move(text)};
}

bool IsOutgoing(LogType type) {
  return type == LogType::kProxy || type == LogType::kFirewall || type == LogType::kISA;
}

std::string WithoutSlash(std::string_view domain) {
  domain = Trim(domain);
  if (domain.ends_with('/')) domain.remove_suffix(1);
  return std::string(domain);
}

SiteRec SiteOf(const SiteRec& draft) {
  SiteRec site;
  site.FTP = draft.FTP;
  if (site.FTP) {
    site.FTPDomain = Trim(draft.FTPDomain);
    site.FTPUserName = Trim(draft.FTPUserName);
    site.FTPPassword = draft.FTPPassword;
    site.FTPPath = Trim(draft.FTPPath);
    site.FTPPassive = draft.FTPPassive;
  } else {
    site.Folder = WithSeparator(std::string(Trim(draft.Folder)));
  }
  site.Type = draft.Type;
  site.Unix = draft.Type == LogType::kNCSA;
  site.Mask = Trim(draft.Mask).empty() ? "*.LOG" : std::string(Trim(draft.Mask));
  site.Name = Trim(draft.Name);
  site.Domain = WithoutSlash(draft.Domain);
  site.HomePage = "index.htm;default.htm";
  site.Frequency = draft.FTP ? 60 : 5;
  site.WebAccess = draft.WebAccess;
  site.WebReferrers = true;
  site.Paused = true;
  site.ForceLookup = true;
  return site;
}

}  // namespace

const std::span<const NewSiteType> kNewSiteTypes = kTypes;
const std::span<const FormField<SiteRec>> kNewSiteFields = kNewRows;
const std::span<const std::string_view> kNewSiteHeadings = kHeadings;

SiteRec NewSiteDraft() {
  SiteRec draft;
  draft.Domain = "www.";
  draft.Mask = kTypes[0].mask;
  return draft;
}

std::optional<FormProblem> CheckNewFolder(const SiteRec& draft, bool has_files, Files& files, std::string& warning) {
  if (Trim(draft.Folder).empty()) return NotYet("txtLoc", "You must specify a log file location.");
  std::unique_ptr<FolderReader> reader;
  if (!files.OpenFolder(WithSeparator(std::string(Trim(draft.Folder))), reader).ok())
    return NotYet("txtLoc", "Log file folder does not exist.");
  bool any = has_files;
  for (bool more = true; more && !any;) {
    std::vector<FileEntry> entries;
    more = reader->Next(1'000, entries);
    any = std::any_of(entries.begin(), entries.end(), [&](const auto& e) { return FitsFileMask(e.name, draft.Mask); });
  }
  warning = any ? ""
                : "WARNING:\r\nThere does not appear to be any files with a " + draft.Mask +
                      " mask in this folder. Use the Site Properties to edit the mask used for your log files.";
  return std::nullopt;
}

std::optional<FormProblem> CheckNewSite(const SiteRec& draft, const LiveTables& t) {
  const std::string domain = WithoutSlash(draft.Domain), name(Trim(draft.Name));
  const std::string folder = draft.FTP ? "" : WithSeparator(std::string(Trim(draft.Folder)));
  if (Contains(domain, " ")) return NotYet("txtDomain", "The domain name cannot contain spaces.");
  const auto any = [&](auto same) {
    const auto found =
        std::find_if(t.Sites.begin(), t.Sites.end(), [&](const SiteRec& s) { return !s.Deleted && same(s); });
    return found == t.Sites.end() ? nullptr : &*found;
  };
  if (any([&](const SiteRec& s) { return s.Name == name; })) {
    return NotYet("txtName", "The Site Name must be unique.");
  }
  if (const SiteRec* other = any([&](const SiteRec& s) { return !folder.empty() && !s.FTP && s.Folder == folder; })) {
    return NotYet("txtLoc", "This log file folder is already being monitored on: (" + other->Name + ")");
  }
  if (any([&](const SiteRec& s) { return s.Domain == domain; })) {
    return NotYet("txtDomain", IsOutgoing(draft.Type)
                                   ? "The Domain Name must be unique. Specify a different domain name EG: office.proxy"
                                   : "This Domain is already being monitored. The Domain name must be unique.");
  }
  // Of no site one can speak without a name, and what the file can't keep is lost at the next start.
  if (name.empty()) return NotYet("txtName", "You must specify a name.");
  if (name.find_first_of("[]\r\n") != std::string::npos) {
    return NotYet("txtName", "The site file can't keep this name. Leave out square brackets and line ends.");
  }
  if (t.SiteCount() >= kMostSites) return NotYet("txtName", "There are as many sites as there can be.");
  return CheckKept(SiteOf(draft), kNewSiteFields);
}

int16_t AddNewSite(const SiteRec& draft, WallTime now, LiveTables& t) {
  SiteRec site = SiteOf(draft);
  site.LastScanTime = site.LastCheckTime = site.LastLookupTime = site.ExLastLowCheck = site.ExLastHighCheck = now;
  site.Stored = static_cast<const ReadState&>(site);
  t.Sites.push_back(site);
  const int16_t number = t.SiteCount();
  AddAlertDefinition(t, number, "Default (All Visitors)");
  t.Alerts.back().EngineAll = true;
  return number;
}

}  // namespace vantry
