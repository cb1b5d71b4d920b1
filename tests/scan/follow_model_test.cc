// "Each line exactly once": a log that is written, renamed, cut, replaced, packed and switched in random steps, and a
// program that scans, stops and is killed in between.
//
// A line need not count if nobody could have read it, and for no other reason (see Excuse).
//
// VANTRY_FOLLOW_STEPS sets how many steps, VANTRY_FOLLOW_SEED another run of them.
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <utility>

#include <gtest/gtest.h>

#include "support/scan_rig.h"

namespace vantry {
namespace {

int Number(const char* variable, int standard) {
  const char* text = std::getenv(variable);
  return text ? std::atoi(text) : standard;
}

// Why a line need not count.
enum class Excuse {
  kNameless,  // Its end was written to a file that had no name any more.
  kUnread,    // Its file went before a scan came by.
  kKilled,    // It was read, but a kill came before that was saved, and by then its file was gone.
  kCut,       // A copytruncate cut it in two.
};

class FollowWorld {
 public:
  using EntryPtr = std::shared_ptr<MemoryFiles::Entry>;

  FollowWorld(unsigned seed, bool linked) : random_(seed), linked_(linked) {
    rig_ = std::make_unique<ScanRig>();
    SetUp(*rig_);
    Create();
    Reopen();
    if (!linked_) rig_->t.Site(1).SelectMethod = FileChoice::kSameName;
    // What was rotated before the first look is not followed.
    Scan();
    saved_ = Site();
  }

  void Step() {
    // At once, or a good while later.
    rig_->files.clock_ns += Roll(3) == 0 ? 1 : 1'000'000 * int64_t{Roll(5'000)};
    const int dice = Roll(100);
    if (dice < 45) return Append();
    if (dice < 65) return Scan();
    if (dice < 70) return Reopen();
    if (dice < 76) return Rotate();
    if (dice < 80) return CopyTruncate();
    if (dice < 83) return Pack();
    if (dice < 85) return Replace();
    if (dice < 86) return Delete();
    if (dice < 87) return Backup();
    if (dice < 90) return Save();
    if (dice < 92) return Stop();
    if (dice < 94) return Kill();
    if (dice < 95) return Midnight();
    Settle();
  }
  // Everything that was written has an end now and has been scanned: each line was counted.
  void Settle() {
    EndLine();
    if (!rig_->files.entries.contains(Name())) Create();
    Reopen();
    for (int i = 0; i < 3; ++i) Scan();
    const std::set<int> present = Present();
    for (int line = 1; line <= line_; ++line) {
      if (!excuses_.contains(line)) {
        ASSERT_EQ(stored_[line], 1) << "line " << line << Story();
      }
      if (present.contains(line) && today_.contains(line)) {
        ASSERT_EQ(run_[line], 1) << "line " << line << " in this run" << Story();
      }
    }
    for (const auto& [line, times] : stored_) ASSERT_LE(times, 1) << "line " << line << Story();
  }
  std::string Story() const {
    std::string text = "\n";
    for (const std::string& s : story_) text += s + "\n";
    return text;
  }
  int Counted() const {
    int n = 0;
    for (const auto& [line, times] : stored_) n += times;
    return n;
  }
  void AddExcuses(std::map<Excuse, int>& sums) const {
    for (const auto& [line, excuse] : excuses_) {
      const auto stored = stored_.find(line);
      if (stored == stored_.end() || stored->second == 0) ++sums[excuse];
    }
  }

 private:
  static constexpr char kName[] = "/logs/access.log";

  int Roll(int sides) { return static_cast<int>(random_() % static_cast<unsigned>(sides)); }
  SiteRec& Site() { return rig_->t.Site(1); }
  void Tell(const std::string& what) {
    story_.push_back(what);
    if (story_.size() > 220) story_.erase(story_.begin());
  }
  // The file that has the log's name; with a link, what it leads to.
  std::string Name() { return linked_ ? rig_->files.Resolve(kName) : kName; }

  void SetUp(ScanRig& rig) {
    SiteRec& site = rig.AddSite();
    site.Mask = "access.log";
    rig.t.Corrected.FollowRotation = rig.t.Corrected.WaitForLog = rig.t.Corrected.WholeLines = true;
    rig.t.HasWindow = false;
    rig.settings.InactivityMins = 100'000;
  }

  EntryPtr NewEntry(std::string bytes) {
    auto entry = std::make_shared<MemoryFiles::Entry>();
    entry->bytes = std::move(bytes);
    entry->written_ns = rig_->files.clock_ns;
    // A file system gives numbers of deleted files to new ones.
    if (!free_.empty() && Roll(2) == 0) {
      entry->inode = free_.back();
      free_.pop_back();
    }
    rig_->files.InodeOf(*entry);
    return entry;
  }
  void Create() {
    if (linked_) {
      const std::string path = "/logs/part-" + std::to_string(++part_) + ".log";
      rig_->files.entries[path] = NewEntry("");
      rig_->files.links[kName] = path;
    } else {
      rig_->files.entries[kName] = NewEntry("");
    }
  }
  void Erase(const std::string& path) {
    const auto it = rig_->files.entries.find(path);
    if (it == rig_->files.entries.end()) return;
    const EntryPtr entry = it->second;
    rig_->files.entries.erase(it);
    if (entry != open_) free_.push_back(entry->inode);
    Forgive(entry->bytes, Excuse::kUnread);
  }
  static std::set<int> LinesIn(const std::string& bytes) {
    std::set<int> lines;
    for (size_t at = 0; (at = bytes.find("/l", at)) != std::string::npos; at += 2) {
      const size_t end = bytes.find('\n', at);
      if (end != std::string::npos) lines.insert(std::atoi(bytes.c_str() + at + 2));
    }
    return lines;
  }
  std::set<int> Present() {
    std::set<int> lines;
    for (const auto& [path, entry] : rig_->files.entries) {
      if (path != "/logs/backup") lines.merge(LinesIn(entry->bytes));
    }
    return lines;
  }
  // Lines that are nowhere any more and that no scan of this run met whole.
  void Forgive(const std::string& bytes, Excuse excuse) {
    const std::set<int> present = Present();
    for (const int line : LinesIn(bytes)) {
      if (!present.contains(line) && stored_[line] == 0 && !offered_.contains(line)) excuses_.emplace(line, excuse);
    }
  }

  void Append() {
    if (pending_.empty()) {
      ++line_;
      today_.insert(line_);
      rig_->clock.Advance(1);  // A second page of one second does not count.
      const int32_t s = SecondOfDay(rig_->clock.Now());
      const Day day = DayOf(rig_->clock.Now());
      pending_ = "10.0.0.1 - - [" + DateText(day) + ":" + PadNumber(s / 3600, 2) + ":" + PadNumber(s / 60 % 60, 2) +
                 ":" + PadNumber(s % 60, 2) + " +0000] \"GET /l" + std::to_string(line_) +
                 ".exe HTTP/1.0\" 200 1 \"-\" \"" +
                 std::string(static_cast<size_t>(Roll(3) == 0 ? Roll(900) : 5), 'b') + "\"\n";
    }
    Write(Roll(3) == 0 ? static_cast<size_t>(1 + Roll(40)) : pending_.size());
  }
  // Which lines each file has.
  std::string Folder() {
    std::string text;
    for (const auto& [path, entry] : rig_->files.entries) {
      text += " " + path.substr(6) + (entry == open_ ? "*" : "") + "[" + std::to_string(entry->inode) + ":";
      for (const int line : LinesIn(entry->bytes)) text += " " + std::to_string(line);
      text += "]";
    }
    return text;
  }
  static std::string DateText(Day day) {
    static const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const CivilDate d = ToCivil(day);
    return PadNumber(d.day, 2) + "/" + kMonths[d.month - 1] + "/" + std::to_string(d.year);
  }
  void Write(size_t bytes) {
    bytes = std::min(bytes, pending_.size());
    open_->bytes += pending_.substr(0, bytes);
    open_->written_ns = rig_->files.clock_ns;
    pending_.erase(0, bytes);
    if (pending_.empty()) {
      std::string names;
      for (const auto& [path, entry] : rig_->files.entries) names += entry == open_ ? " " + path : "";
      Tell("line " + std::to_string(line_) + " whole in" + names + (bytes == 0 ? " (nothing)" : ""));
    }
    if (pending_.empty()) Forgive(open_->bytes, Excuse::kNameless);
  }
  void EndLine() { Write(pending_.size()); }
  void Reopen() {
    if (!rig_->files.entries.contains(Name())) return;
    if (open_) EndLine();
    open_ = rig_->files.entries[Name()];
    Tell("reopen");
  }

  void ShiftNumbers() {
    auto& entries = rig_->files.entries;
    for (int n = 60; n >= 1; --n) {
      for (const std::string end : {"", ".gz"}) {
        const std::string path = Name() + "." + std::to_string(n) + end;
        if (!entries.contains(path)) continue;
        const EntryPtr entry = entries[path];
        if (n == 60) {
          Erase(path);
          continue;
        }
        entries.erase(path);
        entries[Name() + "." + std::to_string(n + 1) + end] = entry;
      }
    }
  }
  void Rotate() {
    auto& entries = rig_->files.entries;
    if (!entries.contains(Name())) return;
    if (linked_) {
      Create();
    } else {
      ShiftNumbers();
      entries[std::string(kName) + ".1"] = entries[kName];
      entries.erase(kName);
      if (Roll(4) != 0) Create();
    }
    Tell("rotate");
    if (Roll(2) == 0) {
      if (!entries.contains(Name())) Create();
      Reopen();
    }
  }
  void CopyTruncate() {
    auto& entries = rig_->files.entries;
    if (linked_ || !entries.contains(kName)) return;
    ShiftNumbers();
    const EntryPtr log = entries[kName];
    const EntryPtr copy = NewEntry(log->bytes);
    entries[std::string(kName) + ".1"] = copy;
    log->bytes.clear();
    log->written_ns = rig_->files.clock_ns;
    // The rest of a line that was cut in two is not a line.
    if (log == open_ && !pending_.empty() && !LinesIn(copy->bytes).contains(line_)) {
      pending_ = "\n";
      excuses_.emplace(line_, Excuse::kCut);
      today_.erase(line_);
    }
    Tell("copytruncate");
  }
  void Pack() {
    auto& entries = rig_->files.entries;
    std::vector<std::string> paths;
    for (const auto& [path, entry] : entries) {
      if (path != Name() && path != "/logs/backup" && !path.ends_with(".gz") && entry != open_) paths.push_back(path);
    }
    if (paths.empty()) return;
    const std::string path = paths[static_cast<size_t>(Roll(static_cast<int>(paths.size())))];
    const EntryPtr entry = entries[path];
    const EntryPtr packed = NewEntry(MemoryFiles::kPacked + entry->bytes);
    packed->written_ns = entry->written_ns;
    entries[path + ".gz"] = packed;
    Erase(path);
    Tell("pack " + path);
  }
  void Replace() {
    auto& entries = rig_->files.entries;
    if (!entries.contains(Name())) return;
    EndLine();
    const bool same = Roll(2) == 0 && !linked_;
    const EntryPtr fresh = NewEntry(same ? entries[Name()]->bytes : "");
    const std::string name = Name();
    const EntryPtr old = entries[name];
    entries[name] = fresh;
    if (old != open_) free_.push_back(old->inode);
    Forgive(old->bytes, Excuse::kUnread);
    Tell(same ? "replace by a copy" : "replace");
    Reopen();
  }
  void Delete() {
    if (!rig_->files.entries.contains(Name())) return;
    Erase(Name());
    Tell("delete");
  }
  void Backup() {
    auto& entries = rig_->files.entries;
    if (!entries.contains(Name())) return;
    entries["/logs/backup"] = NewEntry(entries[Name()]->bytes);
    Tell("backup");
  }

  void Scan() {
    Site().LastScanTime.s -= 3600;
    rig_->Scan();
    TakeCalls();
    offered_.merge(Present());
    // So that a page that is read twice counts twice.
    rig_->t.Visitors.ForEach([](int32_t, VisitorRec& v) {
      v.Page.clear();
      v.PageHash = 0;
      v.LastPageTime = {};
    });
    Tell("scan, at " + std::to_string(Site().LastFile.Inode) + ":" + std::to_string(Site().LastReadPos) + " of" +
         Folder());
    std::string left = "   left";
    for (const LeftLog& l : Site().LeftLogs) {
      left += " " + std::to_string(l.File.Inode) + "/" + std::to_string(l.File.StartBytes) + ":" +
              std::to_string(l.ReadPos) + (l.Done ? "!" : "");
    }
    Tell(left);
  }
  void TakeCalls() {
    for (const std::string& call : rig_->history.calls) {
      const size_t at = call.find(" l");
      if (at == std::string::npos) continue;
      const int line = std::atoi(call.c_str() + at + 2);
      if (StartsWith(call, "download ")) {
        ++run_[line];
        EXPECT_EQ(run_[line], 1) << "line " << line << " again" << Story();
      } else if (StartsWith(call, "page ")) {
        ++stored_[line];
      }
    }
    rig_->history.calls.clear();
    rig_->exceptions.raised.clear();
  }
  void Save() {
    saved_ = Site();
    saved_stored_ = stored_;
    Tell("save");
  }
  void Restart(const ReadState& state) {
    auto next = std::make_unique<ScanRig>();
    SetUp(*next);
    next->files = rig_->files;
    next->clock = rig_->clock;
    next->t.Today = rig_->t.Today;
    next->t.Site(1).SelectMethod = Site().SelectMethod;
    static_cast<ReadState&>(next->t.Site(1)) = state;
    rig_ = std::move(next);
    run_.clear();
  }
  void Stop() {
    Save();
    Restart(saved_);
    Tell("stop");
  }
  // What was stored since the last save is not on the disk.
  void Kill() {
    stored_ = saved_stored_;
    const std::set<int> present = Present();
    for (const int line : std::exchange(offered_, {})) {
      if (stored_[line] == 0 && !present.contains(line)) excuses_.emplace(line, Excuse::kKilled);
    }
    Restart(saved_);
    Tell("kill");
  }
  void Midnight() {
    Settle();
    rig_->clock.now.s = (rig_->clock.now.s / kSecondsPerDay + 1) * kSecondsPerDay + 60;
    rig_->t.RolloverDone = false;  // Ticks of other minutes came before.
    rig_->scan.Timer1Tick();
    TakeCalls();
    run_.clear();
    today_.clear();
    // Rotated files are kept for a day.
    for (auto it = rig_->files.entries.begin(); it != rig_->files.entries.end();) {
      const std::string path = (it++)->first;
      if (path != Name() && Roll(2) == 0 && rig_->files.entries[path] != open_) Erase(path);
    }
    Save();
    Tell("midnight");
  }

  std::mt19937 random_;
  bool linked_;
  std::unique_ptr<ScanRig> rig_;
  EntryPtr open_;  // What the writer has open.
  std::string pending_;
  int line_ = 0, part_ = 0;
  std::map<int, Excuse> excuses_;  // Of lines that need not be counted.
  std::set<int> offered_;          // Those that a scan of this run met whole, in any file.
  std::set<int> today_;
  std::map<int, int> stored_, saved_stored_, run_;
  ReadState saved_;
  std::vector<uint64_t> free_;
  std::vector<std::string> story_;
};

void RunWorld(bool linked) {
  const int steps = Number("VANTRY_FOLLOW_STEPS", 6'000) / 2;
  const int most = 1'000;  // A story that can be read; the maps stay small.
  int counted = 0;
  std::map<Excuse, int> lost;
  for (int done = 0, seed = Number("VANTRY_FOLLOW_SEED", 1); done < steps; done += most, ++seed) {
    FollowWorld world(static_cast<unsigned>(seed), linked);
    for (int i = 0; i < most && !testing::Test::HasFailure(); ++i) world.Step();
    if (!testing::Test::HasFailure()) world.Settle();
    ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << seed << world.Story();
    counted += world.Counted();
    world.AddExcuses(lost);
  }
  const int all = lost[Excuse::kNameless] + lost[Excuse::kUnread] + lost[Excuse::kKilled] + lost[Excuse::kCut];
  EXPECT_GT(counted, 2 * all) << "most lines must count for the test to tell anything";
  testing::Test::RecordProperty("lines", counted);
  testing::Test::RecordProperty("in_nameless_files", lost[Excuse::kNameless]);
  testing::Test::RecordProperty("gone_before_a_scan", lost[Excuse::kUnread]);
  testing::Test::RecordProperty("gone_before_a_save", lost[Excuse::kKilled]);
  testing::Test::RecordProperty("cut_in_two", lost[Excuse::kCut]);
}

TEST(FollowModel, EachLineOfAFileIsCountedOnce) {
  RunWorld(false);
}

TEST(FollowModel, EachLineBehindALinkIsCountedOnce) {
  RunWorld(true);
}

}  // namespace
}  // namespace vantry
