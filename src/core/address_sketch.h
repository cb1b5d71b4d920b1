// About how many different texts were seen, in 4 kB whatever their number: HyperLogLog (Flajolet and others, 2007) with
// 4096 registers, whose standard error is 1.6 %. Small numbers are counted by the empty registers, nearly exactly.
#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <string_view>

namespace vantry {

class AddressSketch {
 public:
  // FNV-1a, then the finalizer of MurmurHash3, as the registers need all bits to be random.
  void Add(std::string_view text) {
    uint64_t h = 14695981039346656037u;
    for (const char c : text) h = (h ^ static_cast<unsigned char>(c)) * 1099511628211u;
    h = (h ^ h >> 33) * 0xff51afd7ed558ccdu;
    h = (h ^ h >> 33) * 0xc4ceb9fe1a85ec53u;
    h ^= h >> 33;
    auto& most = registers_[h >> (64 - kBits)];
    const auto rank = static_cast<uint8_t>(std::countl_zero(h << kBits | 1) + 1);
    if (rank <= most) return;
    changed_ = true;
    most = rank;
  }

  int64_t Count() const {
    if (!changed_) return count_;
    double sum = 0;
    int empty = 0;
    for (const uint8_t most : registers_) {
      sum += std::ldexp(1.0, -most);
      empty += most == 0;
    }
    constexpr double kRegisters = size_t{1} << kBits;
    double count = 0.7213 / (1 + 1.079 / kRegisters) * kRegisters * kRegisters / sum;
    if (count <= 2.5 * kRegisters && empty > 0) count = kRegisters * std::log(kRegisters / empty);
    changed_ = false;
    return count_ = std::llround(count);
  }

 private:
  static constexpr int kBits = 12;
  std::array<uint8_t, size_t{1} << kBits> registers_{};
  mutable bool changed_ = false;
  mutable int64_t count_ = 0;
};

}  // namespace vantry
