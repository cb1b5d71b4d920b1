#include "platform/unpacked_log.h"

#include <algorithm>
#include <array>
#include <vector>

#include <zlib.h>

#include "platform/posix_support.h"

namespace vantry {
namespace {

constexpr size_t kPackedBlock = 64 * 1024;
constexpr int kGzipOnly = 16 + MAX_WBITS;

class UnpackedLog final : public LogFile {
 public:
  UnpackedLog(int fd, std::string path) : fd_(fd), path_(std::move(path)), packed_(kPackedBlock) {}
  ~UnpackedLog() override { ::inflateEnd(&stream_); }
  UnpackedLog(const UnpackedLog&) = delete;
  UnpackedLog& operator=(const UnpackedLog&) = delete;

  Status Begin() {
    if (::inflateInit2(&stream_, kGzipOnly) != Z_OK) return Status::Error(Fail::kIo, path_ + ": no room to unpack it");
    return Status::Ok();
  }

  Status ReadAt(int64_t position, std::span<char> buffer, size_t& count) override {
    count = 0;
    if (position < unpacked_) Rewind();
    std::vector<char> passed_over(std::min<int64_t>(position - unpacked_, kPackedBlock));
    while (unpacked_ < position) {
      const auto wanted = static_cast<size_t>(std::min<int64_t>(position - unpacked_, kPackedBlock));
      size_t got = 0;
      if (Status status = Unpack({passed_over.data(), wanted}, got); !status.ok() || got == 0) return status;
    }
    return Unpack(buffer, count);
  }

  Status Look(FileLook& look) override {
    if (Status status = LookAt(fd_.get(), path_, look); !status.ok()) return status;
    // The last four bytes have the size of the last member, without its upper bits.
    std::array<unsigned char, 4> size{};
    const int64_t at = look.size_bytes - 4;
    if (at < 0 || ::pread(fd_.get(), size.data(), size.size(), at) != 4) {
      look.size_bytes = 0;
    } else {
      look.size_bytes = size[0] | size[1] << 8 | size[2] << 16 | static_cast<int64_t>(size[3]) << 24;
    }
    return Status::Ok();
  }

 private:
  void Rewind() {
    ::inflateReset2(&stream_, kGzipOnly);
    stream_.avail_in = 0;
    read_ = unpacked_ = 0;
    ended_ = between_ = false;
  }

  Status FillPacked() {
    ssize_t n = 0;
    do {
      n = ::pread(fd_.get(), packed_.data(), packed_.size(), read_);
    } while (n < 0 && errno == EINTR);
    if (n < 0) return Failure(path_, errno);
    read_ += n;
    stream_.next_in = packed_.data();
    stream_.avail_in = static_cast<uInt>(n);
    return Status::Ok();
  }

  // Fills the buffer as far as the content reaches; `count` 0 is its end.
  Status Unpack(std::span<char> buffer, size_t& count) {
    stream_.next_out = reinterpret_cast<Bytef*>(buffer.data());
    stream_.avail_out = static_cast<uInt>(buffer.size());
    while (!ended_ && stream_.avail_out > 0) {
      if (stream_.avail_in == 0) {
        if (Status status = FillPacked(); !status.ok()) return status;
        if (stream_.avail_in == 0) break;
      }
      if (between_) {
        ::inflateReset2(&stream_, kGzipOnly);
        between_ = false;
      }
      const int result = ::inflate(&stream_, Z_NO_FLUSH);
      if (result == Z_STREAM_END) {
        between_ = true;
      } else if (result != Z_OK && result != Z_BUF_ERROR) {
        ended_ = true;
      }
    }
    count = buffer.size() - stream_.avail_out;
    unpacked_ += static_cast<int64_t>(count);
    return Status::Ok();
  }

  Descriptor fd_;
  std::string path_;
  std::vector<Bytef> packed_;
  z_stream stream_{};
  int64_t read_ = 0;      // Packed bytes taken from the file.
  int64_t unpacked_ = 0;  // Place in the content that comes next.
  bool between_ = false;  // A member has ended, and another may follow.
  bool ended_ = false;    // What follows can't be unpacked.
};

}  // namespace

Status OpenUnpackedLog(const std::string& path, std::unique_ptr<LogFile>& file) {
  Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!fd) return Failure(path, errno);
  struct stat info {};
  if (::fstat(fd.get(), &info) != 0) return Failure(path, errno);
  if (!S_ISREG(info.st_mode)) return Status::Error(Fail::kIo, path + ": is no plain file");
  auto log = std::make_unique<UnpackedLog>(fd.Release(), path);
  if (Status status = log->Begin(); !status.ok()) return status;
  file = std::move(log);
  return Status::Ok();
}

}  // namespace vantry
