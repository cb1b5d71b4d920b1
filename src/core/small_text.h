// A text of a record with many fields: 16 bytes, half of what std::string takes. Up to 15 bytes lie inside, which is
// most addresses; a longer text lies in a block of its own, as large as it needs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

namespace vantry {

// What the texts of records share: they compare, join and print like a std::string_view.
template <class T>
struct TextOperators {
  friend bool operator==(const T& a, const T& b) { return a.View() == b.View(); }
  friend bool operator==(const T& a, std::string_view b) { return a.View() == b; }
  friend std::string operator+(std::string a, const T& b) { return std::move(a.append(b.View())); }
  friend std::string operator+(const T& a, std::string_view b) { return std::string(a.View()).append(b); }
  friend std::ostream& operator<<(std::ostream& out, const T& text) { return out << text.View(); }
};

class SmallText : public TextOperators<SmallText> {
 public:
  static constexpr size_t kInside = 15;

  SmallText() noexcept = default;
  explicit SmallText(std::string_view text) { Set(text); }
  SmallText(const SmallText& other) { Set(other); }
  SmallText(SmallText&& other) noexcept { Swap(other); }
  SmallText& operator=(const SmallText& other) {
    if (this != &other) Set(other);
    return *this;
  }
  SmallText& operator=(SmallText&& other) noexcept {
    Swap(other);
    return *this;
  }
  SmallText& operator=(std::string_view text) {
    Set(text);
    return *this;
  }
  ~SmallText() {
    if (!Inside()) Free(Block());
  }

  std::string_view View() const { return {data(), size()}; }
  operator std::string_view() const { return View(); }  // NOLINT(google-explicit-constructor)
  const char* data() const { return Inside() ? bytes_ : Block(); }
  size_t size() const {
    if (Inside()) return static_cast<unsigned char>(bytes_[kInside]);
    uint32_t size;
    std::memcpy(&size, bytes_ + sizeof(char*), sizeof size);
    return size;
  }
  bool empty() const { return size() == 0; }
  // Makes a text that lies inside empty at once; a block is given back.
  void clear() { Set({}); }

 private:
  static constexpr char kBlock = static_cast<char>(0xFF);  // In place of the size: the text lies in a block.

  // What malloc hands out for a text of this size anyway, so a text changes its block only when it needs another.
  static size_t BlockSize(size_t size) { return (size + 8 + 15) / 16 * 16 - 8; }
  static void Free(char* block) { ::operator delete(block); }

  bool Inside() const { return bytes_[kInside] != kBlock; }
  char* Block() const {
    char* block;
    std::memcpy(&block, bytes_, sizeof block);
    return block;
  }
  void SetBlock(char* block, size_t size) {
    const auto short_size = static_cast<uint32_t>(size);
    std::memcpy(bytes_, &block, sizeof block);
    std::memcpy(bytes_ + sizeof block, &short_size, sizeof short_size);
    bytes_[kInside] = kBlock;
  }
  void Swap(SmallText& other) noexcept { std::swap(bytes_, other.bytes_); }

  // `text` may be a part of this one.
  void Set(std::string_view text) {
    text = text.substr(0, UINT32_MAX);
    char* const old = Inside() ? nullptr : Block();
    if (text.size() > kInside && old && BlockSize(size()) == BlockSize(text.size())) {
      std::memmove(old, text.data(), text.size());
      SetBlock(old, text.size());
      return;
    }
    if (text.size() > kInside) {
      char* const block = static_cast<char*>(::operator new(BlockSize(text.size())));
      std::memcpy(block, text.data(), text.size());
      SetBlock(block, text.size());
    } else {
      if (!text.empty()) std::memmove(bytes_, text.data(), text.size());
      bytes_[kInside] = static_cast<char>(text.size());
    }
    if (old) Free(old);
  }

  // A text, and in the last byte its size; or the block's address, the text's size, and in the last byte kBlock.
  alignas(char*) char bytes_[kInside + 1] = {};
};

static_assert(sizeof(SmallText) == 16);

}  // namespace vantry
