// How far the exceptions of each site's lines were acted on: mailed, sent as a short message, started a program. Each
// is told in a small file before it is acted on, so a program that is killed at any moment never acts twice.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/program_log.h"
#include "core/tables.h"
#include "ports/data_files.h"

namespace vantry {

// Exceptions are told apart by the newest time of a line so far, which is their own line's unless that one came late,
// and by their place among those with the same. Neither depends on where in which file a line is found, so a log may be
// rotated meanwhile.
struct ActedMark {
  LogTime time;
  uint32_t count = 0;  // Exceptions since then, up to the newest that was acted on.
  auto operator<=>(const ActedMark&) const = default;
};

inline constexpr char kActsName[] = "Vantry.acts";
inline constexpr size_t kActsLineBytes = 49;

// One line of the file; see docs/formats/vantry-acts.md.
std::string FormatActedMark(uint64_t site, const ActedMark& mark);
// False for a line of another form.
bool ParseActedMark(std::string_view line, uint64_t& site, ActedMark& mark);
// What stands for a site in the file.
uint64_t ActedSite(const SiteRec& site);

class ActedMarks {
 public:
  // The file is opened in this folder ("/" at its end) at the first call.
  ActedMarks(const LiveTables& t, const std::string& folder, DataFiles& files, ProgramLog& log)
      : t_(t), folder_(folder), files_(files), log_(log) {}

  // To be called for each exception of a line, in the order of lines. Returns whether to act on it: an earlier run of
  // the program has not. With `acts` the file tells of it before this returns; a file that can't be written is told
  // once, and alarms go out all the same.
  bool Next(int16_t site, LogTime line, bool acts);

 private:
  struct Place {
    uint64_t site = 0;
    ActedMark before = {};   // Of an earlier run.
    ActedMark now = {};      // The newest exception's.
    ActedMark written = {};  // What the file says.
    int64_t position = 0;
  };
  Place& PlaceOf(int16_t site);
  void Open();
  Status ReadFile();
  void Write(Place& place);
  void Complain(const Status& status);

  const LiveTables& t_;
  const std::string& folder_;
  DataFiles& files_;
  ProgramLog& log_;
  bool opened_ = false, told_ = false;
  std::unique_ptr<DataFile> file_;
  std::vector<Place> places_;              // In the order of the file.
  std::map<uint64_t, size_t> by_site_;     // What stands for a site, and its place.
  std::map<int16_t, size_t> of_this_run_;  // The same by number.
};

}  // namespace vantry
