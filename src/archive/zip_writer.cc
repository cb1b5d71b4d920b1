#include "archive/zip_writer.h"

#include <algorithm>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include "platform/posix_support.h"

namespace vantry {
namespace {

constexpr size_t kBlock = 256 * 1024;
// Zlib's fifth is as fast as the sixth of others, and time is left to read everything back; logs grow by 2 %.
constexpr int kLevel = 5;
constexpr int64_t kMostDirectoryBytes = 8 << 20;

// Hands the first `size` bytes on, block by block. kNotFound if there are fewer, kRefused if they can't be read.
template <class F>
Status ForBlocks(const Disk& disk, int file, const std::string& name, int64_t size, F&& use) {
  std::string block(kBlock, '\0');
  for (int64_t place = 0; place < size;) {
    block.resize(static_cast<size_t>(std::min<int64_t>(kBlock, size - place)));
    size_t count = 0;
    const Status read = disk.ReadAt(file, place, block, count, name);
    if (!read.ok()) return Status::Error(Fail::kRefused, read.text);
    if (count == 0) return Status::Error(Fail::kNotFound, name + ": became shorter");
    if (Status status = use(std::string_view(block.data(), count)); !status.ok()) return status;
    // A web server's files are to stay in memory, not its old logs.
    (void)::posix_fadvise(file, place, static_cast<off_t>(count), POSIX_FADV_DONTNEED);
    place += static_cast<int64_t>(count);
  }
  return Status::Ok();
}

Status ReadWhole(int file, const std::string& name, int64_t place, std::string& bytes) {
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t n = ::pread(file, bytes.data() + done, bytes.size() - done, place + static_cast<int64_t>(done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return Failure(name, errno);
    if (n == 0) return Status::Error(Fail::kBadData, name + ": is cut short");
    done += static_cast<size_t>(n);
  }
  return Status::Ok();
}

uint32_t Crc(uint32_t crc, std::string_view bytes) {
  return static_cast<uint32_t>(
      ::crc32(crc, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

}  // namespace

Status ReadOldZip(int file, const std::string& name, OldZip& zip) {
  const Status bad = Status::Error(Fail::kBadData, name + ": is not a zip file, or is damaged");
  struct stat info {};
  if (::fstat(file, &info) != 0) return Failure(name, errno);
  std::string tail(static_cast<size_t>(std::min<int64_t>(info.st_size, kMostEndBytes)), '\0');
  const int64_t tail_at = info.st_size - static_cast<int64_t>(tail.size());
  if (Status status = ReadWhole(file, name, tail_at, tail); !status.ok()) return status;
  const auto end = ParseEnd(tail, info.st_size);
  if (!end) return bad;
  if (end->directory_size > kMostDirectoryBytes) {
    return Status::Error(Fail::kBadData, name + ": holds too many files to take more");
  }
  zip.directory.assign(static_cast<size_t>(end->directory_size), '\0');
  if (Status status = ReadWhole(file, name, end->directory_offset, zip.directory); !status.ok()) return status;
  auto entries = ParseDirectory(zip.directory, *end);
  if (!entries) return bad;
  zip.file = file;
  zip.end = *end;
  zip.entries = std::move(*entries);
  return Status::Ok();
}

Status LogCrc(const Disk& disk, int log, const std::string& log_name, int64_t size, uint32_t& crc) {
  crc = 0;
  return ForBlocks(disk, log, log_name, size, [&](std::string_view bytes) {
    crc = Crc(crc, bytes);
    return Status::Ok();
  });
}

// One stream of packed bytes.
struct ZipWriter::Packer {
  explicit Packer(ZipWriter& w) : writer(w) {}
  ~Packer() {
    if (begun) ::deflateEnd(&stream);
  }
  Packer(const Packer&) = delete;
  Packer& operator=(const Packer&) = delete;

  Status Begin() {
    begun = ::deflateInit2(&stream, kLevel, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK;
    return begun ? Status::Ok() : Status::Error(Fail::kIo, "no memory to pack with");
  }
  Status Feed(std::string_view bytes, int flush) {
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    do {
      stream.next_out = reinterpret_cast<Bytef*>(out.data());
      stream.avail_out = static_cast<uInt>(out.size());
      ::deflate(&stream, flush);
      const size_t made = out.size() - stream.avail_out;
      if (made == 0) continue;
      if (Status status = writer.Append({out.data(), made}); !status.ok()) return status;
    } while (stream.avail_out == 0);
    return Status::Ok();
  }

  ZipWriter& writer;
  z_stream stream{};
  std::string out = std::string(kBlock, '\0');
  bool begun = false;
};

Status ZipWriter::Append(std::string_view bytes) {
  if (Status status = disk_.Write(file_, bytes, name_); !status.ok()) return status;
  place_ += static_cast<int64_t>(bytes.size());
  return Status::Ok();
}

Status ZipWriter::Continue(const OldZip& old) {
  entries_ = old.entries;
  old_count_ = entries_.size();
  old_directory_ = old.directory;
  Status status =
      ForBlocks(disk_, old.file, name_, old.end.directory_offset, [this](std::string_view b) { return Append(b); });
  if (!status.ok()) status.fail = Fail::kIo;
  return status;
}

Status ZipWriter::Add(int log, const std::string& log_name, ZipEntry& entry) {
  entry.crc = 0;
  entry.packed_size = 0;
  entry.offset = place_;
  const int64_t begin = place_ + static_cast<int64_t>(LocalHeader(entry).size());
  Packer packer(*this);
  Status status = Append(LocalHeader(entry));
  if (status.ok()) status = packer.Begin();
  if (!status.ok()) return status;
  status = ForBlocks(disk_, log, log_name, entry.size, [&](std::string_view bytes) {
    entry.crc = Crc(entry.crc, bytes);
    return packer.Feed(bytes, Z_NO_FLUSH);
  });
  entries_.push_back(entry);
  if (status.ok()) status = packer.Feed({}, Z_FINISH);
  if (status.fail == Fail::kNotFound || status.fail == Fail::kRefused) {
    Status dropped = DropLast();
    return dropped.ok() ? status : dropped;
  }
  if (!status.ok()) return status;
  entry.packed_size = place_ - begin;
  entries_.back() = entry;
  return disk_.WriteAt(file_, entry.offset, LocalHeader(entry), name_);
}

Status ZipWriter::DropLast() {
  place_ = entries_.back().offset;
  entries_.pop_back();
  return disk_.Truncate(file_, place_, name_);
}

Status ZipWriter::Finish() {
  ZipEnd end{static_cast<int64_t>(entries_.size()), place_, 0};
  std::string directory = old_directory_;
  for (size_t i = old_count_; i < entries_.size(); ++i) directory += DirectoryRecord(entries_[i]);
  end.directory_size = static_cast<int64_t>(directory.size());
  if (Status status = Append(directory + EndRecords(end)); !status.ok()) return status;
  return disk_.Sync(file_, name_);
}

}  // namespace vantry
