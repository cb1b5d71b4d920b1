#include "archive/zip_check.h"

#include <algorithm>
#include <memory>

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

namespace vantry {
namespace {

struct FreeArchive {
  void operator()(struct archive* a) const { ::archive_read_free(a); }
};
using Reader = std::unique_ptr<struct archive, FreeArchive>;

Status Bad(const std::string& name, const std::string& what) {
  return Status::Error(Fail::kBadData, name + ": " + what);
}

std::string Reason(struct archive* a) {
  const char* text = ::archive_error_string(a);
  return text ? text : "it can't be unpacked";
}

// The reader makes "/" of a backslash, and no log has a "/" in its name.
std::string ReadName(std::string name) {
  std::replace(name.begin(), name.end(), '\\', '/');
  return name;
}

Status CheckEntry(struct archive* a, const std::string& name, const ZipEntry& expected) {
  int64_t size = 0;
  uLong crc = 0;
  for (;;) {
    const void* bytes = nullptr;
    size_t count = 0;
    la_int64_t place = 0;
    const int result = ::archive_read_data_block(a, &bytes, &count, &place);
    if (result == ARCHIVE_EOF) break;
    if (result != ARCHIVE_OK) return Bad(name, expected.name + ": " + Reason(a));
    if (place != size) return Bad(name, expected.name + ": has a hole");
    crc = ::crc32(crc, static_cast<const Bytef*>(bytes), static_cast<uInt>(count));
    size += static_cast<int64_t>(count);
  }
  if (size != expected.size) return Bad(name, expected.name + ": has another size when it is read back");
  if (crc != expected.crc) return Bad(name, expected.name + ": differs when it is read back");
  return Status::Ok();
}

}  // namespace

Status CheckZip(int file, const std::string& name, std::vector<ZipEntry> expected) {
  // In the order in which they lie in the file, which is the reader's.
  std::sort(expected.begin(), expected.end(), [](const ZipEntry& a, const ZipEntry& b) { return a.offset < b.offset; });
  // From the disk, as far as the system lets it be asked for.
  (void)::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
  if (::lseek(file, 0, SEEK_SET) != 0) return Bad(name, "can't be read back");
  const Reader reader(::archive_read_new());
  struct archive* a = reader.get();
  if (!a) return Status::Error(Fail::kIo, name + ": no memory to read it back");
  (void)::archive_read_support_format_zip(a);
  if (::archive_read_open_fd(a, file, 256 * 1024) != ARCHIVE_OK) return Bad(name, Reason(a));
  for (const ZipEntry& entry : expected) {
    struct archive_entry* header = nullptr;
    const int result = ::archive_read_next_header(a, &header);
    if (result == ARCHIVE_EOF) return Bad(name, entry.name + ": is missing when it is read back");
    if (result != ARCHIVE_OK && result != ARCHIVE_WARN) return Bad(name, entry.name + ": " + Reason(a));
    const char* path = ::archive_entry_pathname(header);
    if (!path || ReadName(path) != ReadName(entry.name))
      return Bad(name, entry.name + ": has another name when it is read back");
    if (Status status = CheckEntry(a, name, entry); !status.ok()) return status;
  }
  struct archive_entry* more = nullptr;
  if (::archive_read_next_header(a, &more) != ARCHIVE_EOF) return Bad(name, "holds more than it should");
  return Status::Ok();
}

}  // namespace vantry
