// Large pages of memory for large tables: with many visitors most of what a look-up costs is finding out where in
// memory its page is, and a page of 2 MB takes the place of 512 small ones.
#pragma once

#include <cstddef>
#include <memory_resource>

namespace vantry {

// Blocks of a large page or more lie on such pages if the system has any. All of kLeastBytes or more go back to the
// system when they are freed, where the heap would keep them until it is trimmed as a whole. Smaller ones come from the
// heap.
class HugePages final : public std::pmr::memory_resource {
 public:
  static constexpr size_t kPageBytes = 2 << 20, kLeastBytes = 60 << 10;

  // Tables that are made from now on, in this program, take their memory here.
  static void UseForTables();

 private:
  void* do_allocate(size_t bytes, size_t alignment) override;
  void do_deallocate(void* block, size_t bytes, size_t alignment) override;
  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override { return this == &other; }
};

}  // namespace vantry
