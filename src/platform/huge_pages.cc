#include "platform/huge_pages.h"

#include <cstdint>
#include <new>

#include <sys/mman.h>

namespace vantry {
namespace {

// Of whole small pages: the end of a block that fills no large page lies on small ones and costs no more than it needs.
size_t Rounded(size_t bytes) {
  constexpr size_t kSmallPage = 4096;
  return (bytes + kSmallPage - 1) / kSmallPage * kSmallPage;
}

}  // namespace

void HugePages::UseForTables() {
  static HugePages pages;
  std::pmr::set_default_resource(&pages);
}

void* HugePages::do_allocate(size_t bytes, size_t alignment) {
  if (bytes < kPageBytes || alignment > kPageBytes) return std::pmr::new_delete_resource()->allocate(bytes, alignment);
  // Large pages begin at multiples of their size: what lies before and after the block is given back at once.
  const size_t size = Rounded(bytes), with_room = size + kPageBytes;
  if (with_room < bytes) throw std::bad_alloc();
  void* const got = ::mmap(nullptr, with_room, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (got == MAP_FAILED) throw std::bad_alloc();
  char* const begin = static_cast<char*>(got);
  const size_t past = reinterpret_cast<uintptr_t>(begin) % kPageBytes, before = past == 0 ? 0 : kPageBytes - past;
  if (before > 0) (void)::munmap(begin, before);
  (void)::munmap(begin + before + size, kPageBytes - before);
  (void)::madvise(begin + before, size, MADV_HUGEPAGE);
  return begin + before;
}

void HugePages::do_deallocate(void* block, size_t bytes, size_t alignment) {
  if (bytes < kPageBytes || alignment > kPageBytes) {
    std::pmr::new_delete_resource()->deallocate(block, bytes, alignment);
  } else {
    (void)::munmap(block, Rounded(bytes));
  }
}

}  // namespace vantry
