#include "setup/add_site.h"

#include <algorithm>
#include <vector>

#include "config/site_file.h"
#include "config/value_forms.h"
#include "core/screen_text.h"
#include "core/text.h"
#include "core/wildcard.h"
#include "logs/formats.h"
#include "logs/recogniser.h"
#include "setup/remote_place.h"

namespace vantry {
namespace {

constexpr int kShownLine = 80;

Status Refuse(std::string text) {
  return Status::Error(Fail::kRefused, std::move(text));
}

std::string TypeOption() {
  return "--type N (0 to " + std::to_string(Formats().size() - 1) + ")";
}

bool HasControls(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 127; });
}

// How the type is told: given, or recognised with or without quoted fields.
struct TypeChoice {
  std::optional<LogType> forced;
  bool quoted_fields = false;
};

Status ChooseType(const std::string& path, std::string_view bytes, const TypeChoice& how, LogPlace& place) {
  place.unix_lines = EndsLinesWithLf(bytes);
  if (how.forced) {
    place.type = *how.forced;
    return Status::Ok();
  }
  if (const auto log = RecogniseLog(bytes, how.quoted_fields)) {
    place.type = log->type;
    place.unix_lines = log->unix_lines;
    place.recognised = true;
    return Status::Ok();
  }
  const std::string_view line = FirstLine(bytes);
  const std::string shown_path = Printable(path);
  if (line.empty()) {
    return Refuse(shown_path +
                  " is empty, so the log's type can't be told. Ask the web server for a page first, or name "
                  "the type with " +
                  TypeOption() + "; that of Apache and nginx is 2.");
  }
  return Refuse(shown_path + " is no log of a known type. It begins with: " + FitTo(Printable(line), kShownLine) +
                "\nName its type with " + TypeOption() + " if it is one after all.");
}

// A mask has no way to name a star itself; "?" takes it.
std::string MaskOf(std::string_view name) {
  std::string mask(name);
  std::replace(mask.begin(), mask.end(), '*', '?');
  return mask;
}

const FileEntry* NewestFile(const std::vector<FileEntry>& entries, std::string_view mask) {
  const FileEntry* best = nullptr;
  for (const FileEntry& entry : entries) {
    if (entry.name.empty() || entry.name.front() == '.' || !entry.written_ns || !FitsFileMask(entry.name, mask))
      continue;
    const bool newer = !best || *entry.written_ns > *best->written_ns ||
                       (*entry.written_ns == *best->written_ns && entry.name > best->name);
    if (newer) best = &entry;
  }
  return best;
}

Status FindInFolder(Files& files, const TypeChoice& how, LogPlace& place) {
  std::vector<FileEntry> entries;
  if (Status status = files.List(place.folder, entries); !status.ok()) return status;
  place.choice = FileChoice::kByDate;
  place.mask = "*.LOG";
  const FileEntry* newest = NewestFile(entries, place.mask);
  if (!newest) {
    newest = NewestFile(entries, "*");
    if (!newest && how.forced) return ChooseType(place.folder, "", how, place);
    if (!newest) return Refuse(Printable(place.folder) + " holds no log. Name its type with " + TypeOption() + ".");
    const size_t dot = newest->name.rfind('.');
    place.mask = "*" + (dot == std::string::npos ? "" : MaskOf(newest->name.substr(dot)));
  }
  std::unique_ptr<LogFile> file;
  std::string bytes;
  const std::string path = place.folder + newest->name;
  Status status = files.OpenLog(path, file);
  if (status.ok()) status = ReadFirstBytes(*file, bytes);
  return status.ok() ? ChooseType(path, bytes, how, place) : status;
}

Status CheckText(std::string_view what, std::string_view text) {
  if (Trim(text).empty()) return Refuse("The " + std::string(what) + " is empty.");
  if (HasControls(text)) return Refuse("The " + std::string(what) + " holds line ends or other control characters.");
  return Status::Ok();
}

}  // namespace

std::string MaskForName(std::string_view name) {
  std::string mask = MaskOf(name);
  // Blanks at the ends of a value do not survive in the site file.
  if (!mask.empty() && mask.back() == ' ') mask.back() = '?';
  if (!mask.empty() && mask.front() == ' ') mask.front() = '?';
  return mask;
}

Status FindLog(Files& files, const std::string& path, std::optional<LogType> forced, LogPlace& place,
               bool quoted_fields) {
  const TypeChoice how{forced, quoted_fields};
  place = {};
  if (HasControls(path)) return Refuse("The log's path holds line ends or other control characters.");
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return Refuse("'" + Printable(path) + "' is no full path.");
  std::unique_ptr<LogFile> file;
  const Status status = files.OpenLog(path, file);
  if (!status.ok()) {
    place.folder = WithSeparator(path);
    std::vector<FileEntry> entries;
    return files.List(place.folder, entries).ok() ? FindInFolder(files, how, place) : status;
  }
  place.folder = path.substr(0, slash + 1);
  place.mask = MaskForName(std::string_view(path).substr(slash + 1));
  place.choice = FileChoice::kSameName;
  std::string bytes;
  if (Status read = ReadFirstBytes(*file, bytes); !read.ok()) return read;
  return ChooseType(path, bytes, how, place);
}

Status AddSiteTo(LiveTables& tables, const std::string& name, const std::string& domain, const LogPlace& place) {
  if (Status status = CheckText("name", name); !status.ok()) return status;
  if (Status status = CheckText("domain", domain); !status.ok()) return status;
  if (tables.Sites.size() >= 32767) return Refuse("There are 32767 sites, which is the most there can be.");
  SiteRec site;
  site.Name = Trim(name);
  site.Domain = Trim(domain);
  for (const SiteRec& other : tables.Sites) {
    if (other.Deleted) continue;
    if (EqualsNoCase(Trim(other.Name), site.Name)) return Refuse("There is a site named '" + site.Name + "' already.");
    if (EqualsNoCase(other.Domain, site.Domain)) {
      return Refuse("The domain '" + site.Domain + "' is monitored already, as '" + Printable(other.Name) + "'.");
    }
  }
  site.Type = place.type;
  site.Unix = place.unix_lines;
  site.Folder = place.folder;
  site.Mask = place.mask;
  site.SelectMethod = place.choice;
  site.HomePage = "index.html";
  site.Frequency = 5;
  site.WebAccess = site.WebReferrers = true;
  if (!place.remote.empty()) {
    if (Status status = ReadRemotePlace(place.remote, place.password, site); !status.ok()) return status;
  }
  tables.Sites.push_back(std::move(site));
  return Status::Ok();
}

Status SitesToAdd::Read() {
  tables_.Corrected = folder_.corrected;
  const Status status = ReadINI(files_, folder_.home, folder_.regional, tables_);
  return status.ok() ? status : Refuse(Printable(status.text));
}

Status SitesToAdd::Add(const std::string& name, const std::string& domain, const LogPlace& place) {
  return AddSiteTo(tables_, name, domain, place);
}

Status SitesToAdd::Write() {
  return WriteINI(files_, folder_.home, folder_.regional, tables_);
}

}  // namespace vantry
