// The index store on LMDB: one file without a lock file of its own, since the tables beside it are held already.
// Written with plain writes, never through the map. A file that another program cuts or writes into is damaged from
// then on: calls give kBadData until it is opened anew.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "ports/index_store.h"

struct MDB_env;
struct MDB_txn;
struct MDB_cursor;

namespace vantry {

class LmdbIndex final : public IndexStore {
 public:
  // Above this much of file pages in the process's memory the map is given back; the system's page cache keeps them.
  static constexpr int64_t kMaxMappedBytes = 96 << 20;

  LmdbIndex() = default;
  ~LmdbIndex() override;
  LmdbIndex(const LmdbIndex&) = delete;
  LmdbIndex& operator=(const LmdbIndex&) = delete;

  Status Open(const std::string& path) override;
  void Close() override;
  Status OpenTree(const std::string& name, int& tree) override;
  Status EmptyTree(int tree) override;
  Status Put(int tree, std::string_view key, uint32_t row) override;
  Status Erase(int tree, std::string_view key) override;
  Status Find(int tree, Seek how, std::string_view key, IndexEntry& entry) override;
  Status Commit(bool durable) override;

 private:
  Status OpenEnvironment(size_t map_bytes);
  Status Begin();
  Status CursorOf(int tree, MDB_cursor*& cursor);
  Status Failure(int code) const;
  // What LMDB answers to `call`; MDB_CORRUPTED when the file is no longer as it was left here.
  template <class Call>
  int Ask(Call&& call);
  // Looked at once a tick of the system's coarse clock, or `now`.
  bool FileIsOurs(bool now);
  void KnowFile();
  void FindMap();
  void BoundMemory();

  std::string path_;
  MDB_env* env_ = nullptr;
  MDB_txn* txn_ = nullptr;  // One for reading and writing, from the first use after a commit.
  std::vector<unsigned> trees_;
  std::vector<MDB_cursor*> cursors_;  // Of the transaction under way, by tree; null until used.
  char* map_ = nullptr;
  size_t map_bytes_ = 0;
  int looks_ = 0;                                   // Finds since the memory was looked at.
  bool damaged_ = false;                            // Nothing but closing is left.
  int64_t known_bytes_ = 0, known_written_ns_ = 0;  // Of the file after our last write.
  int64_t tick_ns_ = 0;                             // When the file was looked at.
  std::array<char, kMaxKeyBytes + 12> found_key_;
};

}  // namespace vantry
