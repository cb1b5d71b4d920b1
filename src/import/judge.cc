#include "import/judge.h"

#include <algorithm>
#include <utility>

#include "config/site_edits.h"
#include "core/text.h"
#include "import/sample_line.h"
#include "logs/formats.h"

namespace vantry {
namespace {

FormatOpinion OpinionOf(const FoundSite& found, bool quoted_fields) {
  if (!found.problem.empty()) return {false, found.problem, {}};
  if (found.type) return {true, {}, {}};
  return JudgeSample(found.sample, quoted_fields);
}

// A log that has no lines yet is where its server will write it.
LogPlace PlaceToCome(const std::string& here, LogType type) {
  const size_t slash = here.rfind('/');
  LogPlace place;
  place.folder = here.substr(0, slash + 1);
  place.mask = MaskForName(std::string_view(here).substr(slash + 1));
  place.choice = FileChoice::kSameName;
  place.type = type;
  place.unix_lines = type == LogType::kNCSA;
  return place;
}

bool IsEmpty(Files& files, const std::string& path) {
  FileLook look;
  return files.Look(path, look).ok() && look.size_bytes == 0;
}

void TakeFormat(const FormatOpinion& opinion, JudgedSite& site) {
  site.readable = opinion.readable;
  site.why = opinion.why;
  if (!opinion.lack.empty()) site.found.notes.push_back("the log has " + opinion.lack);
}

void TakeFirstLine(const FormatOpinion& opinion, JudgedSite& site) {
  site.readable = true;
  if (opinion.readable && !opinion.lack.empty()) site.found.notes.push_back("the log has " + opinion.lack);
  if (opinion.readable) return;
  site.found.notes.push_back("its first lines are " + std::string(FormatOf(site.place.type).name) +
                             ", although by the configuration " + opinion.why);
}

}  // namespace

JudgedSite Judge(const ConfigTree& tree, Files& files, FoundSite found, bool quoted_fields) {
  JudgedSite site{.found = std::move(found)};
  const FormatOpinion opinion = OpinionOf(site.found, quoted_fields);
  if (site.found.log.empty()) {
    site.why = site.found.problem;
    return site;
  }
  const std::string here = tree.PathHere(site.found.log);
  const Status status = FindLog(files, here, {}, site.place, quoted_fields);
  if (status.ok()) {
    if (!site.found.mask.empty()) site.place.mask = site.found.mask;
    TakeFirstLine(opinion, site);
  } else if (status.fail != Fail::kRefused || IsEmpty(files, here)) {
    TakeFormat(opinion, site);
    site.place = PlaceToCome(here, site.found.type.value_or(LogType::kNCSA));
    site.found.notes.push_back(status.fail == Fail::kRefused || status.fail == Fail::kNotFound
                                   ? "the log has no lines yet"
                                   : "the log can't be looked at: " + status.text);
  } else {
    // What else it tells is how to add the site by hand.
    site.why = status.text.substr(0, std::min(status.text.find('\n'), status.text.find(". Name ")));
    if (opinion.readable) site.found.notes.push_back("by the configuration it could be read");
  }
  return site;
}

std::vector<std::string> LinesAbout(const JudgedSite& site) {
  const FoundSite& found = site.found;
  std::string text;
  if (!site.readable) text += "Can't be read: " + site.why + ".\n";
  if (!site.readable && !found.advice.empty()) text += "For a log that can be read, " + found.advice + "\n";
  if (!site.there.empty() && site.same_log) text += "Site '" + site.there + "' reads this log.\n";
  if (!site.there.empty() && !site.same_log) {
    text += "There is a site '" + site.there + "' of this domain, with another log.\n";
  }
  for (const std::string& note : found.notes) text += "Note: " + note + ".\n";
  std::string names;
  for (const std::string& other : found.others) names += (names.empty() ? "" : ", ") + other;
  if (!names.empty()) text += "The same log has the visitors of: " + names + ".\n";
  if (!names.empty() && site.readable && !found.advice.empty()) {
    text += "For a log of its own, " + found.advice + "\n";
  }
  std::vector<std::string> lines;
  for (const std::string_view line : Split(text, '\n')) lines.emplace_back(line);
  lines.pop_back();
  return lines;
}

std::string NameFor(const FoundSite& found) {
  return RemoveChar(RemoveChar(found.domain, '['), ']');
}

Status AddFoundSite(const JudgedSite& site, WallTime now, LiveTables& tables) {
  const Status status = AddSiteTo(tables, NameFor(site.found), site.found.domain, site.place);
  if (status.ok()) BeginLastSite(now, tables);
  return status;
}

void FindThoseThere(const std::vector<SiteRec>& sites, std::vector<JudgedSite>& judged) {
  for (JudgedSite& site : judged) {
    for (const SiteRec& known : sites) {
      if (known.Deleted) continue;
      const bool log = !known.FTP && known.Folder == site.place.folder && known.Mask == site.place.mask;
      if (!(log && site.readable) && !EqualsNoCase(known.Domain, site.found.domain) &&
          !EqualsNoCase(Trim(known.Name), site.found.domain)) {
        continue;
      }
      site.there = known.Name;
      site.same_log = log;
      if (log) break;
    }
  }
}

}  // namespace vantry
