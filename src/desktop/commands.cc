#include "desktop/commands.h"

#include <algorithm>
#include <iterator>

namespace vantry {
namespace {

using N = Needs;

constexpr Command kAll[] = {
    // Sites
    {"miAdd", "&Add Site", N::kNothing, false, "Ctrl+N", "Watch another site"},
    {"miEdit", "&Edit Site", N::kSite, false, "Ctrl+E", "Change how the chosen site is watched"},
    {"miDelete", "&Remove", N::kSite, false, "", "Stop watching the chosen site"},
    {"miStart", "&Start Monitoring", N::kPaused, false, "", "Watch the chosen site again"},
    {"miStop", "S&top Monitoring", N::kRunning, false, "", "Pause the chosen site"},
    {"miOptions", "&Options...", N::kNothing, false, "Ctrl+,", "Change the settings of the program"},
    {"miHide", "&Hide", N::kNothing, false, "Ctrl+H", "Go on without a window, as an icon in the tray"},
    // Views
    {"miViewVisitors", "&Visitors", N::kNothing, true, "Ctrl+1", "Who is on the sites now"},
    {"miViewAlerts", "&Alerts", N::kNothing, true, "Ctrl+2", "The alerts of today"},
    {"miViewSpiders", "&Spiders", N::kNothing, true, "Ctrl+3", "The spiders that came today"},
    {"miViewExceptions", "&Exceptions", N::kNothing, true, "Ctrl+4", "What was out of the ordinary today"},
    {"miShowPages", "Show Visited &Pages", N::kNothing, true, "Ctrl+Shift+P", "The pages of the chosen visitor"},
    {"miShowTrace", "Show &Trace Pane", N::kNothing, true, "Ctrl+Shift+T", "The lines of the logs as they are read"},
    {"miLockTrace", "&Lock Trace Pane", N::kNothing, true, "", "Keep the trace where it is while lines come"},
    {"miShowActivity", "Show A&ctivity", N::kNothing, true, "Ctrl+Shift+A", "The last hour, minute by minute"},
    {"miFind", "&Find", N::kNothing, false, "Ctrl+F", "Show only rows with a text"},
    {"miNextPane", "&Next Pane", N::kNothing, false, "F6", "Go to the next pane"},
    // The chosen row
    {"miWhois", "&Who Is", N::kRow, false, "", "Ask who an address belongs to"},
    {"miOpenReferrer", "Open &Referrer", N::kReferrer, false, "", "Open the page the visitor came from"},
    {"miOpenPage", "Open Current &Page", N::kPage, false, "", "Open the page the visitor reads"},
    {"miOpenDNS", "Open &DNS", N::kName, false, "", "Open the visitor's host name in the browser"},
    {"miViewLog", "View &Log Entries", N::kRow, false, "", "Open this visitor's lines of the log"},
    {"miTracert", "&Trace Route", N::kRow, false, "", "The way to the visitor"},
    {"miPing", "P&ing", N::kRow, false, "", "Whether the visitor's machine answers"},
    {"miAddKnown", "Add To &Buddy List", N::kRow, false, "", "Give the visitor a name"},
    {"miGroup", "&Groups", N::kRow, false, "", "Treat the visitor's network as one visitor"},
    {"miGroups", "Groups &Database", N::kNothing, false, "", "All groups"},
    {"miHistory", "View Previous &Visits", N::kRow, false, "", "Earlier visits of this visitor"},
    {"miViewVisitDetails", "View Visit Det&ails", N::kRow, false, "", "The pages of a visit"},
    {"miViewDownloads", "View Do&wnloaded Files", N::kRow, false, "", "What this visitor has downloaded"},
    {"miExclude", "E&xclude", N::kRow, false, "", "Never show this visitor again"},
    // Everything on a site
    {"miTopReferers", "View Top &Referrers", N::kNothing, false, "", "Where the visitors of the site came from"},
    {"miTopDownloads", "Top &Downloads", N::kNothing, false, "", "What is downloaded most"},
    {"miDays", "Da&ys", N::kNothing, false, "Ctrl+D", "Visitors, alerts and downloads of each day"},
    {"miEmailView", "E&mail Current View", N::kNothing, false, "", "Send the list as a mail"},
    {"miPrint", "&Print", N::kNothing, false, "Ctrl+P", "Print the list"},
    {"miSaveAs", "Save &As...", N::kNothing, false, "Ctrl+S", "Write the list as a CSV file"},
    {"miCopy", "&Copy", N::kNothing, false, "Ctrl+C", "Copy the chosen rows"},
    // The program
    {"miInstallService", "&Install Service...", N::kNothing, false, "", "Run without a window from the start"},
    {"miRemoveService", "Re&move Service", N::kNothing, false, "", ""},
    {"miStopService", "Stop Ser&vice", N::kService, false, "", ""},
    {"miVTDB", "Create &Database Wizard...", N::kWizard, false, "", ""},
    {"miVTIIS", "&IIS Import Wizard...", N::kWizard, false, "", ""},
    {"miHelp", "&Help Topics...", N::kDesktop, false, "F1", "How things work"},
    {"miAbout", "&About...", N::kNothing, false, "", "Version and folders"},
    {"miConnect", "&Connect To the maker's site...", N::kNothing, false, "", ""},
    {"miUpdateCheck", "Check for Vantry &Update...", N::kNothing, false, "", ""},
    {"miSupport", "Email &Support", N::kNothing, false, "", ""},
    {"miExit", "E&xit", N::kDesktop, false, "Ctrl+Q", "Close the program"},
};

constexpr std::string_view kFile[] = {
    "miAdd", "miEdit", "miDelete", "-", "miSaveAs",         "miEmailView",     "miPrint",
    "-",     "miVTDB", "miVTIIS",  "-", "miInstallService", "miRemoveService", "miStopService",
    "-",     "miHide", "miExit"};
constexpr std::string_view kAction[] = {"miStart",
                                        "miStop",
                                        "-",
                                        "miCopy",
                                        "-",
                                        "miWhois",
                                        "miPing",
                                        "miTracert",
                                        "miOpenReferrer",
                                        "miOpenPage",
                                        "miOpenDNS",
                                        "miViewLog",
                                        "-",
                                        "miHistory",
                                        "miViewVisitDetails",
                                        "miViewDownloads",
                                        "-",
                                        "miAddKnown",
                                        "miGroup",
                                        "miExclude",
                                        "-",
                                        "miOptions"};
constexpr std::string_view kView[] = {"miViewVisitors", "miViewAlerts",   "miViewSpiders", "miViewExceptions", "-",
                                      "miShowPages",    "miShowTrace",    "miLockTrace",   "miShowActivity",   "-",
                                      "miTopReferers",  "miTopDownloads", "miDays",        "miGroups",         "-",
                                      "miFind",         "miNextPane"};
constexpr std::string_view kHelpMenu[] = {"miHelp", "-", "miConnect", "miUpdateCheck", "miSupport", "-", "miAbout"};

constexpr std::string_view kPopup[] = {"miWhois",
                                       "miPing",
                                       "miTracert",
                                       "-",
                                       "miOpenReferrer",
                                       "miOpenPage",
                                       "miOpenDNS",
                                       "miViewLog",
                                       "-",
                                       "miHistory",
                                       "miViewVisitDetails",
                                       "miViewDownloads",
                                       "-",
                                       "miAddKnown",
                                       "miGroup",
                                       "miExclude",
                                       "-",
                                       "miCopy",
                                       "miSaveAs"};
constexpr std::string_view kTreePopup[] = {"miStart", "miStop",   "-", "miTopReferers", "miTopDownloads", "miDays", "-",
                                           "miEdit",  "miDelete", "-", "miAdd"};
constexpr std::string_view kSvcPopup[] = {"miInstallService", "miRemoveService", "miStopService"};
constexpr std::string_view kSettingsPopup[] = {"miAdd", "-", "miOptions", "-", "miHide", "miExit"};
constexpr std::string_view kTools[] = {
    "miAdd",         "miEdit",           "-", "miStart",     "miStop",  "-", "miViewVisitors", "miViewAlerts",
    "miViewSpiders", "miViewExceptions", "-", "miEmailView", "miPrint", "-", "miOptions",      "miHelp"};

constexpr CommandList kMenuLists[] = {{"mnFile", "&File", kFile},
                                      {"mnAction", "&Action", kAction},
                                      {"mnView", "&View", kView},
                                      {"mnHelp", "&Help", kHelpMenu}};
constexpr CommandList kPopupLists[] = {{"Popup", "Visitor", kPopup},
                                       {"TreePopup", "Site", kTreePopup},
                                       {"SvcPopup", "Service", kSvcPopup},
                                       {"SettingsPopup", "Vantry", kSettingsPopup}};

}  // namespace

const std::span<const Command> kCommands = kAll;
const std::span<const CommandList> kMenus = kMenuLists;
const std::span<const CommandList> kContextMenus = kPopupLists;
const CommandList kToolBar = {"BandToolBar", "ToolBar", kTools};

const Command* FindCommand(std::string_view name) {
  const auto found = std::find_if(std::begin(kAll), std::end(kAll), [&](const Command& c) { return c.name == name; });
  return found == std::end(kAll) ? nullptr : &*found;
}

}  // namespace vantry
