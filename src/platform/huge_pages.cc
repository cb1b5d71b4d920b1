#include "platform/huge_pages.h"

#include <cstdint>
#include <new>

#include <sys/mman.h>

namespace vantry {
namespace {

constexpr size_t kSmallPage = 4096;

// The end of a block that fills no large page lies on small ones and costs no more than it needs.
size_t Rounded(size_t bytes) {
  return (bytes + kSmallPage - 1) / kSmallPage * kSmallPage;
}

}  // namespace

void HugePages::UseForTables() {
  static HugePages pages;
  std::pmr::set_default_resource(&pages);
}

void* HugePages::do_allocate(size_t bytes, size_t alignment) {
  if (bytes < kLeastBytes || alignment > kSmallPage) return std::pmr::new_delete_resource()->allocate(bytes, alignment);
  // Large pages begin at multiples of their size: what lies before and after the block is given back at once.
  const size_t size = Rounded(bytes), room = bytes < kPageBytes ? 0 : kPageBytes;
  if (size + room < bytes) throw std::bad_alloc();
  void* const got = ::mmap(nullptr, size + room, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (got == MAP_FAILED) throw std::bad_alloc();
  if (room == 0) return got;
  char* const begin = static_cast<char*>(got);
  const size_t past = reinterpret_cast<uintptr_t>(begin) % kPageBytes, before = past == 0 ? 0 : kPageBytes - past;
  if (before > 0) (void)::munmap(begin, before);
  (void)::munmap(begin + before + size, room - before);
  (void)::madvise(begin + before, size, MADV_HUGEPAGE);
  return begin + before;
}

void HugePages::do_deallocate(void* block, size_t bytes, size_t alignment) {
  if (bytes < kLeastBytes || alignment > kSmallPage) {
    std::pmr::new_delete_resource()->deallocate(block, bytes, alignment);
  } else if (::munmap(block, Rounded(bytes)) != 0) {
    // A process has a number of maps at most, and a hole makes one more. The addresses are lost, the memory is not.
    (void)::madvise(block, Rounded(bytes), MADV_DONTNEED);
  }
}

}  // namespace vantry
