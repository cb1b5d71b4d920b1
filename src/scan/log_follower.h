// Which file a site's next lines are in, and from where, when logs are renamed, replaced, cut or packed under their
// name. A file is known by device, inode and its first kilobyte; the reading state of a site (core/tables.h) names the
// file that is being read and those that were left. No lines are read here.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
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
  struct Found {
    std::unique_ptr<LogFile> file;
    FileLook look;
    std::string start;  // The first kilobyte.
    bool packed = false;
  };
  struct Listed {
    std::string path;
    FileEntry entry;
  };

  SiteRec& Site() { return t_.Site(n_); }
  bool Open(const std::string& path, bool packed, Found& found);
  bool List(std::vector<Listed>& files);
  // Whether the file with the log's name is the one that was being read.
  bool IsCurrent();
  bool Find(const LogFileId& id, int64_t read_pos, Found& found);
  bool FindByStart(const LogFileId& id, int64_t read_pos, const std::vector<Listed>& listed, Found& found);
  bool FindBetween(int64_t since_ns, Found& found);
  bool IsKnown(const Found& found);
  bool NextReplayed(Step& step);
  bool NextLate(Step& step);
  bool IsLate(LeftLog& left);
  bool IsFilled(LeftLog& left, Found& found);
  bool FinishCurrent(Step& step);
  bool IsAway();
  void Leave();
  size_t PlaceOf(const LogFileId& id);
  void GoBackTo(size_t place);
  void SwitchTo(Found& found, Step& step);
  void Recognise(const Found& found);
  void HandOut(Found& found, Step& step);

  Files& files_;
  LiveTables& t_;
  int16_t n_;
  How how_;
  int steps_ = 0;
  bool replay_ = false;          // The current file is still to be replayed.
  bool finished_ = false;        // The current file has been read to its end in this scan.
  bool current_packed_ = false;  // It can't grow any more.
  int64_t seen_bytes_ = 0;       // Its size before it was read.
  bool unsettled_ = false;       // Names were changing: the next scan looks again.
  bool late_listed_ = false;
  std::vector<LogFileId> to_replay_, late_;
  std::vector<uint64_t> visited_;  // Inodes of the files that this scan switched to.
  Found named_;                    // The file that has the log's name now.
};

}  // namespace vantry
