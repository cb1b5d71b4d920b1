// A text of a record that is often the same in many: 8 bytes, and one block in memory for all copies. Copying counts
// users and copies nothing. A TextPool makes equal texts one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "core/hash_index.h"
#include "core/small_text.h"

namespace vantry {

class TextPool;

class SharedText : public TextOperators<SharedText> {
 public:
  SharedText() noexcept = default;
  explicit SharedText(std::string_view text) : block_(NewBlock(text, nullptr)) {}
  SharedText(const SharedText& other) noexcept : block_(other.block_) {
    if (block_) ++block_->users;
  }
  SharedText(SharedText&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  SharedText& operator=(SharedText other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  // Keeps its block when it has that text already.
  SharedText& operator=(std::string_view text) {
    if (text != View()) *this = SharedText(text);
    return *this;
  }
  ~SharedText() {
    if (block_ && --block_->users == 0) FreeBlock(block_);
  }

  std::string_view View() const { return block_ ? std::string_view(TextOf(block_), block_->size) : std::string_view(); }
  operator std::string_view() const { return View(); }  // NOLINT(google-explicit-constructor)
  size_t size() const { return block_ ? block_->size : 0; }
  bool empty() const { return !block_; }

 private:
  friend class TextPool;
  struct Block {  // The text follows.
    uint32_t users, size;
    TextPool* pool;  // Where the block is found by its text; null for one that nobody looks for.
  };
  static char* TextOf(Block* block) { return reinterpret_cast<char*>(block + 1); }
  static Block* NewBlock(std::string_view text, TextPool* pool);  // Null for an empty text.
  static void FreeBlock(Block* block) noexcept;

  Block* block_ = nullptr;
};

// The shared texts that are in use, each once. A text leaves with its last user, so what a log holds can't make the
// pool larger than the records that use it.
class TextPool {
 public:
  TextPool() = default;
  TextPool(const TextPool&) = delete;
  TextPool& operator=(const TextPool&) = delete;
  ~TextPool();  // Texts may outlive it.

  SharedText Get(std::string_view text);
  size_t Count() const { return index_.Count(); }
  // Gives back the memory that a larger number of texts took.
  void Fit() { index_.Fit(); }

 private:
  friend class SharedText;
  HashIndex<SharedText::Block*> index_;
};

}  // namespace vantry
