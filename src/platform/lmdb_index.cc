#include "platform/lmdb_index.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <span>
#include <sstream>

#include <lmdb.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include "platform/map_guard.h"
#include "platform/posix_support.h"

namespace vantry {
namespace {

constexpr unsigned kMaxTrees = 64;
// A look-up maps two stretches of 64 kB at worst; giving the map back costs as much as a thousand look-ups. Changes
// come sorted and in batches, each of which may reach every part of the map.
constexpr int kLooksBetweenChecks = 64 * 1024, kLooksOfAChange = 64;

MDB_val ValueOf(std::string_view bytes) {
  return {bytes.size(), const_cast<char*>(bytes.data())};
}

// The entry is copied: it may be gone from the file when the caller reads it.
int Look(MDB_cursor* cursor, Seek how, std::string_view key, std::span<char> found, IndexEntry& entry) {
  MDB_val k = ValueOf(key), value{};
  // LMDB takes no empty text.
  const MDB_cursor_op op = key.empty() ? MDB_FIRST : how == Seek::kEqual ? MDB_SET_KEY : MDB_SET_RANGE;
  int code = mdb_cursor_get(cursor, &k, &value, op);
  if (how == Seek::kAfter && code == 0 && std::string_view(static_cast<char*>(k.mv_data), k.mv_size) == key) {
    code = mdb_cursor_get(cursor, &k, &value, MDB_NEXT);
  } else if (how == Seek::kBefore && (code == 0 || code == MDB_NOTFOUND)) {
    code = mdb_cursor_get(cursor, &k, &value, code == 0 ? MDB_PREV : MDB_LAST);
  }
  if (code != 0) return code;
  if (value.mv_size != sizeof entry.row || k.mv_size > found.size()) return MDB_CORRUPTED;
  std::memcpy(found.data(), k.mv_data, k.mv_size);
  std::memcpy(&entry.row, value.mv_data, sizeof entry.row);
  entry.key = {found.data(), k.mv_size};
  return 0;
}

}  // namespace

LmdbIndex::~LmdbIndex() {
  Close();
}

Status LmdbIndex::Failure(int code) const {
  switch (code) {
    case 0:
      return Status::Ok();
    case MDB_NOTFOUND:
      return Status::Error(Fail::kNotFound, "");
    case MDB_INVALID:
    case MDB_VERSION_MISMATCH:
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
    case MDB_PANIC:
    case MDB_MAP_RESIZED:  // A last page that lies beyond any map: not one that was written here.
    case MDB_CURSOR_FULL:
    case MDB_PAGE_FULL:
    case MDB_INCOMPATIBLE:
    case MDB_BAD_TXN:  // What an earlier failure left of a transaction.
    case MDB_BAD_DBI:
      return Status::Error(Fail::kBadData, path_ + ": " + mdb_strerror(code));
    default:
      return Status::Error(Fail::kIo, path_ + ": " + mdb_strerror(code));
  }
}

template <class Call>
int LmdbIndex::Ask(Call&& call) {
  if (damaged_ || !FileIsOurs(false)) return MDB_CORRUPTED;
  int code = MDB_CORRUPTED;
  damaged_ = !Guarded([&] { code = call(); });
  return damaged_ ? MDB_CORRUPTED : code;
}

// The file is private to this program, but anybody may write into it. LMDB trusts what it reads: pages that it did not
// write can lead it beyond its own memory, so they must not be given to it.
bool LmdbIndex::FileIsOurs(bool now) {
  timespec clock{};
  ::clock_gettime(CLOCK_MONOTONIC_COARSE, &clock);
  const int64_t tick_ns = int64_t{clock.tv_sec} * 1'000'000'000 + clock.tv_nsec;
  if (!now && tick_ns == tick_ns_) return true;
  tick_ns_ = tick_ns;
  int fd = -1;
  struct stat info {};
  const bool known = mdb_env_get_fd(env_, &fd) == 0 && ::fstat(fd, &info) == 0;
  damaged_ = damaged_ || !known || info.st_size != known_bytes_ || WrittenNs(info) != known_written_ns_;
  return !damaged_;
}

void LmdbIndex::KnowFile() {
  int fd = -1;
  struct stat info {};
  if (mdb_env_get_fd(env_, &fd) != 0 || ::fstat(fd, &info) != 0) return;
  known_bytes_ = info.st_size;
  known_written_ns_ = WrittenNs(info);
}

// The map is address space and no memory, so it is made far larger than any index; where the address space is limited
// a smaller one has to do.
Status LmdbIndex::Open(const std::string& path) {
  Close();
  path_ = path;
  Status status = Status::Error(Fail::kIo, path + ": no address space left");
  for (size_t map_bytes = size_t{256} << 30; map_bytes >= size_t{64} << 20; map_bytes /= 4) {
    status = OpenEnvironment(map_bytes);
    if (status.ok()) {
      KnowFile();
      FindMap();
      return status;
    }
    Close();
    if (status.fail != Fail::kRefused) return status;
  }
  // Or a damaged file asks for a map that no address space holds; made anew it would fit.
  status.fail = Fail::kBadData;
  return status;
}

// kRefused when the address space does not hold the map.
Status LmdbIndex::OpenEnvironment(size_t map_bytes) {
  if (const int code = mdb_env_create(&env_); code != 0) return Failure(code);
  if (const int code = mdb_env_set_maxdbs(env_, kMaxTrees); code != 0) return Failure(code);
  if (const int code = mdb_env_set_mapsize(env_, map_bytes); code != 0) return Failure(code);
  mdb_env_set_assert(env_, [](MDB_env*, const char*) { BreakOffGuarded(); });
  int code = MDB_CORRUPTED;
  constexpr unsigned kFlags = MDB_NOSUBDIR | MDB_NOSYNC | MDB_NOLOCK | MDB_NOTLS;
  damaged_ = !Guarded([&] { code = mdb_env_open(env_, path_.c_str(), kFlags, 0644); });
  if (damaged_) code = MDB_CORRUPTED;
  Status status = Failure(code);
  if (code == ENOMEM) status.fail = Fail::kRefused;
  return status;
}

void LmdbIndex::Close() {
  // Guarded, as what a damaged file has left of them may lead astray as well.
  (void)Guarded([this] {
    if (txn_) mdb_txn_abort(txn_);
  });
  (void)Guarded([this] {
    if (env_) mdb_env_close(env_);
  });
  damaged_ = false;
  txn_ = nullptr;
  env_ = nullptr;
  map_ = nullptr;
  map_bytes_ = 0;
  trees_.clear();
  cursors_.clear();
}

Status LmdbIndex::Begin() {
  if (txn_) return Status::Ok();
  if (!env_) return Status::Error(Fail::kIo, path_ + ": the index is not open");
  cursors_.assign(trees_.size(), nullptr);
  return Failure(Ask([this] { return mdb_txn_begin(env_, nullptr, 0, &txn_); }));
}

Status LmdbIndex::OpenTree(const std::string& name, int& tree) {
  if (Status status = Begin(); !status.ok()) return status;
  unsigned number = 0;
  const int code = Ask([&] { return mdb_dbi_open(txn_, name.c_str(), MDB_CREATE, &number); });
  if (code != 0) return Failure(code);
  // A tree's number is valid for other transactions only when the one that opened it was kept.
  if (Status status = Commit(false); !status.ok()) return status;
  const auto found = std::find(trees_.begin(), trees_.end(), number);
  tree = static_cast<int>(found - trees_.begin());
  if (found == trees_.end()) trees_.push_back(number);
  return Status::Ok();
}

Status LmdbIndex::CursorOf(int tree, MDB_cursor*& cursor) {
  if (Status status = Begin(); !status.ok()) return status;
  const auto i = static_cast<size_t>(tree);
  if (i >= trees_.size()) return Status::Error(Fail::kIo, path_ + ": no such tree");
  cursors_.resize(trees_.size(), nullptr);
  if (!cursors_[i]) {
    const int code = Ask([&] { return mdb_cursor_open(txn_, trees_[i], &cursors_[i]); });
    if (code != 0) return Failure(code);
  }
  cursor = cursors_[i];
  return Status::Ok();
}

Status LmdbIndex::EmptyTree(int tree) {
  MDB_cursor* cursor = nullptr;
  if (Status status = CursorOf(tree, cursor); !status.ok()) return status;
  mdb_cursor_close(cursor);
  cursors_[static_cast<size_t>(tree)] = nullptr;
  return Failure(Ask([&] { return mdb_drop(txn_, trees_[static_cast<size_t>(tree)], 0); }));
}

Status LmdbIndex::Put(int tree, std::string_view key, uint32_t row) {
  MDB_cursor* cursor = nullptr;
  if (Status status = CursorOf(tree, cursor); !status.ok()) return status;
  if ((looks_ += kLooksOfAChange) >= kLooksBetweenChecks) BoundMemory();
  MDB_val k = ValueOf(key), value{sizeof row, &row};
  return Failure(Ask([&] { return mdb_cursor_put(cursor, &k, &value, 0); }));
}

Status LmdbIndex::Erase(int tree, std::string_view key) {
  MDB_cursor* cursor = nullptr;
  if (Status status = CursorOf(tree, cursor); !status.ok()) return status;
  MDB_val k = ValueOf(key);
  const int code = Ask([&] {
    const int found = mdb_cursor_get(cursor, &k, nullptr, MDB_SET);
    return found == 0 ? mdb_cursor_del(cursor, 0) : found;
  });
  return code == MDB_NOTFOUND ? Status::Ok() : Failure(code);
}

// Every look-up goes down from the root: a cursor that was left where it stood can step wrong after deletions.
Status LmdbIndex::Find(int tree, Seek how, std::string_view key, IndexEntry& entry) {
  MDB_cursor* cursor = nullptr;
  if (Status status = CursorOf(tree, cursor); !status.ok()) return status;
  if (++looks_ >= kLooksBetweenChecks) BoundMemory();
  if (key.empty() && (how == Seek::kEqual || how == Seek::kBefore)) return Failure(MDB_NOTFOUND);
  const int code = Ask([&] { return Look(cursor, how, key, found_key_, entry); });
  if (code != 0) return Failure(code);
  return Status::Ok();
}

Status LmdbIndex::Commit(bool durable) {
  if (!env_) return durable ? Status::Error(Fail::kIo, path_ + ": the index is not open") : Status::Ok();
  // Also when there is nothing to commit: whoever asks takes the file to be whole.
  if (!FileIsOurs(true)) return Failure(MDB_CORRUPTED);
  if (txn_) {
    cursors_.assign(trees_.size(), nullptr);
    const int code = Ask([this] { return mdb_txn_commit(txn_); });
    if (!damaged_) txn_ = nullptr;
    KnowFile();
    if (code != 0) return Failure(code);
  }
  BoundMemory();
  return durable ? Failure(mdb_env_sync(env_, 1)) : Status::Ok();
}

void LmdbIndex::FindMap() {
  char whole[4096];
  const std::string name = ::realpath(path_.c_str(), whole) ? whole : path_;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.size() < name.size() || line.compare(line.size() - name.size(), name.size(), name) != 0) continue;
    void *from = nullptr, *to = nullptr;
    if (std::sscanf(line.c_str(), "%p-%p", &from, &to) != 2) continue;
    map_ = static_cast<char*>(from);
    map_bytes_ = static_cast<size_t>(static_cast<char*>(to) - map_);
    return;
  }
}

// What was read through the map counts as this process's memory until it is given back.
void LmdbIndex::BoundMemory() {
  looks_ = 0;
  if (!map_) return;
  long long size = 0, resident = 0, shared = 0;
  std::ifstream statm("/proc/self/statm");
  if (!(statm >> size >> resident >> shared)) return;
  if (shared * ::sysconf(_SC_PAGESIZE) > kMaxMappedBytes) (void)::madvise(map_, map_bytes_, MADV_DONTNEED);
}

}  // namespace vantry
