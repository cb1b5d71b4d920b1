// Texts of which the oldest goes first, one after the other in blocks of memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <memory>
#include <string_view>
#include <utility>

namespace vantry {

// What passes through touches little memory and asks for none: a block whose texts have gone takes the next ones.
class TextQueue {
 public:
  // A copy of these texts, joined. Stays in its place until it is popped.
  std::string_view Push(std::string_view first, std::string_view second) {
    const size_t bytes = first.size() + second.size();
    if (blocks_.empty() || blocks_.back().size - blocks_.back().used < bytes) AddBlock(bytes);
    Block& block = blocks_.back();
    char* const text = block.memory.get() + block.used;
    std::copy(first.begin(), first.end(), text);
    std::copy(second.begin(), second.end(), text + first.size());
    block.used += bytes;
    ++block.texts;
    return {text, bytes};
  }
  // There must be one.
  void Pop() {
    if (--blocks_.front().texts > 0) return;
    if (blocks_.front().size == kBlockBytes) spare_ = std::move(blocks_.front());
    blocks_.pop_front();
  }
  void Clear() {
    blocks_.clear();
    spare_ = {};
  }

 private:
  static constexpr size_t kBlockBytes = 64 << 10;
  struct Block {
    std::unique_ptr<char[]> memory;
    size_t size = 0, used = 0, texts = 0;  // Bytes, but for the number of texts.
  };

  void AddBlock(size_t bytes) {
    Block block = bytes <= kBlockBytes ? std::exchange(spare_, {}) : Block{};
    if (!block.memory) block.memory.reset(new char[block.size = std::max(bytes, kBlockBytes)]);
    block.used = 0;
    blocks_.push_back(std::move(block));
  }

  std::deque<Block> blocks_;
  Block spare_;  // The one that was emptied last.
};

}  // namespace vantry
