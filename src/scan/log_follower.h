// Which file a site's next lines are in, and from where, when logs are renamed, replaced, cut or packed under their
// name. A file is known by what it begins with; the reading state of a site (core/tables.h) names the file that is
// being read and those that were left. No lines are read here.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/tables.h"
#include "ports/files.h"

namespace vantry {

// From now on only lines of a new day count: a replay need not go back before this place.
void BeginDayOfLog(ReadState& state);

// One scan of a site. The reading state changes only when a file is handed out or has been read, so a scan that breaks
// off anywhere is taken up by the next, or by the next run.
class LogFollower {
 public:
  struct Step {
    std::unique_ptr<LogFile> file;  // Null: nothing more in this scan.
    bool replay = false;            // Lines from LastReadPosDay to LastReadPos are to be replayed first.
    bool packed = false;            // Read from a gzip, from its beginning however late its place is.
    bool last = false;
  };
  struct How {
    bool replay = false;          // The first scan of a run, on a day of which lines were read before.
    bool folder_changed = false;  // Since the last scan names came or went.
  };

  LogFollower(Files& files, LiveTables& tables, int16_t site, How how);

  // The next file to read; LastReadPos is its place by then. kNotFound when no file has the log's name and nothing is
  // left to read of the one that had it.
  Status Next(Step& step);
  // To be called when the lines of the step were read to the end of its file.
  void HasRead(const Step& step);

 private:
  // Which known log a file is: a place in LeftLogs, or one of these.
  static constexpr int kUnknown = -2, kCurrent = -1;
  struct Found {
    std::unique_ptr<LogFile> file;
    FileLook look;
    std::string start;  // The first kilobyte.
    bool packed = false;
    std::string path;      // By which it was opened.
    int log = kUnknown;    // What it is by its beginning.
    bool at_home = false;  // That log was last seen in this very file.
    bool copy = false;     // Another one holds all that is in it.
    bool fresh = false;    // Named as a rotated log, and not older than what was read.
    bool rotated = false;  // Named as one.
  };
  struct Listed {
    std::string path;
    FileEntry entry;
  };

  SiteRec& Site() { return t_.Site(n_); }
  LogFileId& FileOf(int log);
  int64_t PlaceIn(int log);
  bool Open(const std::string& path, Found& found);
  // False and unsettled when it is no longer what was listed; false alone when it can't be read.
  bool OpenListed(const Listed& listed, Found& found);
  bool IsNamed(const FileEntry& entry) const;
  bool IsRotated(const std::string& name);
  bool IsFresh(const FileEntry& entry);

  // log_survey.cc: what the files are.
  bool List(std::vector<Listed>& files);
  int LogOf(const Found& found);
  bool IsPartOfKnown(const Found& found);
  bool Locate(const LogFileId& id, int64_t read_pos, bool with_named, const std::vector<Listed>& listed, Found& found);
  bool Survey(std::vector<Found>& unread);
  bool OpenOwn(const std::vector<Listed>& listed, std::vector<Found>& own);
  bool IsHeldElsewhere(const Found& found);
  void MarkCopies(std::vector<Found>& own);
  void Settle(std::vector<Found>& own, std::vector<Found>& unread);
  bool HasMore(const Found& found, int log);
  void Forget(const FileLook& look, int except);
  static LogFileId AsSeen(const Found& found);

  bool IsAway();
  bool NextReplayed(Step& step);
  Status Begin(Step& step);
  void TakeStock();
  bool IsQuiet();
  bool IsAsSeen(const LogFileId& id);
  void TakeUp(const Found& wanted, Step& step);
  void SwitchTo(Found& found, Step& step);
  void Leave();
  void Watch(const LogFileId& file);
  void AddLeft(LeftLog left);
  void GoBackTo(size_t place);
  size_t PlaceOf(const LogFileId& id);
  void HandOut(Found& found, Step& step);

  Files& files_;
  LiveTables& t_;
  int16_t n_;
  How how_;
  int steps_ = 0;
  bool current_done_ = false;     // The current file can't grow any more, or is gone.
  int64_t handed_out_bytes_ = 0;  // The size of the current file before it was read.
  bool unsettled_ = false;        // Names were changing: the next scan looks again.
  std::vector<LogFileId> to_replay_;
  std::vector<uint64_t> visited_;  // Inodes of the files that this scan took up.
  std::vector<LogFileId> met_;     // The files that the running survey has found.
  Found named_;                    // The file that has the log's name now.
};

}  // namespace vantry
