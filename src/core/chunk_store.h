// Records that stay where they are, in chunks: the store grows without moving anything, and gives an emptied chunk
// back.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <new>
#include <set>
#include <utility>
#include <vector>

namespace vantry {

template <class T>
class ChunkStore {
 public:
  // Records in a chunk: with the bits that say which are used, those of 256 bytes fill 64 kB.
  static constexpr uint32_t kChunk = 254;

  // Makes a record, and returns its place: a number above 0, which another record gets once this one is removed. Low
  // places come first, so that the chunks at the end empty.
  uint32_t Add() {
    if (open_.empty()) AddChunk();
    const uint32_t number = *open_.begin();
    Chunk& chunk = *chunks_[number];
    const uint32_t slot = chunk.FirstFree();
    new (chunk.Memory(slot)) T();
    chunk.used[slot / 64] |= uint64_t{1} << slot % 64;
    if (++chunk.count == kChunk) open_.erase(open_.begin());
    return number * kChunk + slot + 1;
  }

  // There must be a record at this place.
  void Remove(uint32_t place) {
    const uint32_t number = (place - 1) / kChunk, slot = (place - 1) % kChunk;
    Chunk& chunk = *chunks_[number];
    chunk.At(slot)->~T();
    chunk.used[slot / 64] &= ~(uint64_t{1} << slot % 64);
    if (chunk.count-- == kChunk) open_.insert(number);
    // The last chunk with room stays, or one record that comes and goes would cost a chunk each time.
    if (chunk.count > 0 || open_.size() == 1) return;
    open_.erase(number);
    vacant_.push_back(number);
    chunks_[number].reset();
  }

  // There must be a record at this place.
  T& operator[](uint32_t place) const { return *chunks_[(place - 1) / kChunk]->At((place - 1) % kChunk); }

  size_t Chunks() const { return chunks_.size() - vacant_.size(); }

 private:
  struct Chunk {
    alignas(T) std::byte memory[kChunk * sizeof(T)];
    std::array<uint64_t, (kChunk + 63) / 64> used = {};  // A bit for each record.
    uint32_t count = 0;

    Chunk() {}  // NOLINT(modernize-use-equals-default): `= default` would make `new Chunk()` clear the memory.
    ~Chunk() {
      for (uint32_t slot = 0; slot < kChunk; ++slot) {
        if (used[slot / 64] >> slot % 64 & 1) At(slot)->~T();
      }
    }
    void* Memory(uint32_t slot) { return memory + slot * sizeof(T); }
    T* At(uint32_t slot) { return std::launder(reinterpret_cast<T*>(memory + slot * sizeof(T))); }
    uint32_t FirstFree() const {
      uint32_t word = 0;
      while (used[word] == ~uint64_t{0}) ++word;
      return word * 64 + static_cast<uint32_t>(std::countr_one(used[word]));
    }
  };

  struct Freeing {
    std::pmr::memory_resource* memory = nullptr;
    void operator()(Chunk* chunk) const { std::pmr::polymorphic_allocator<>(memory).delete_object(chunk); }
  };
  using ChunkPointer = std::unique_ptr<Chunk, Freeing>;

  void AddChunk() {
    ChunkPointer chunk(std::pmr::polymorphic_allocator<>(memory_).template new_object<Chunk>(), Freeing{memory_});
    uint32_t number = static_cast<uint32_t>(chunks_.size());
    if (vacant_.empty()) {
      chunks_.push_back(std::move(chunk));
    } else {
      number = vacant_.back();
      chunks_[number] = std::move(chunk);
      vacant_.pop_back();
    }
    open_.insert(number);
  }

  std::pmr::memory_resource* memory_ = std::pmr::get_default_resource();
  std::vector<ChunkPointer> chunks_;
  std::set<uint32_t> open_;       // Numbers of chunks with room.
  std::vector<uint32_t> vacant_;  // Numbers without a chunk.
};

}  // namespace vantry
