#include "core/shared_text.h"

#include <cstring>
#include <new>

namespace vantry {

SharedText::Block* SharedText::NewBlock(std::string_view text, TextPool* pool) {
  if (text.empty()) return nullptr;
  text = text.substr(0, UINT32_MAX);
  auto* block = new (::operator new(sizeof(Block) + text.size())) Block{1, static_cast<uint32_t>(text.size()), pool};
  std::memcpy(TextOf(block), text.data(), text.size());
  return block;
}

void SharedText::FreeBlock(Block* block) noexcept {
  if (block->pool) block->pool->index_.Remove(SpreadHash({TextOf(block), block->size}), block);
  ::operator delete(block);
}

TextPool::~TextPool() {
  index_.ForAll([](SharedText::Block* block) { block->pool = nullptr; });
}

SharedText TextPool::Get(std::string_view text) {
  SharedText shared;
  if (text.empty()) return shared;
  const uint64_t hash = SpreadHash(text);
  index_.ForEach(hash, [&](SharedText::Block* block) {
    if (!shared.block_ && std::string_view(SharedText::TextOf(block), block->size) == text) shared.block_ = block;
  });
  if (shared.block_) {
    ++shared.block_->users;
    return shared;
  }
  shared.block_ = SharedText::NewBlock(text, this);
  index_.Add(hash, shared.block_);
  return shared;
}

}  // namespace vantry
