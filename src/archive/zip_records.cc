#include "archive/zip_records.h"

#include <algorithm>
#include <limits>

#include "core/text_encoding.h"

namespace vantry {
namespace {

constexpr uint32_t kLocalMark = 0x04034b50, kDirectoryMark = 0x02014b50, kEndMark = 0x06054b50, kEnd64Mark = 0x06064b50,
                   kLocatorMark = 0x07064b50;
constexpr int64_t kEndBytes = 22, kEnd64Bytes = 56, kLocatorBytes = 20, kDirectoryBytes = 46;
constexpr uint32_t kFull32 = 0xFFFFFFFF;
constexpr uint16_t kFull16 = 0xFFFF, kZip64Tag = 0x0001, kTimeTag = 0x5455;

template <class Number>
void Put(std::string& out, Number value, size_t bytes) {
  for (size_t i = 0; i < bytes; ++i) out.push_back(static_cast<char>(static_cast<uint64_t>(value) >> (8 * i)));
}

uint64_t Get(std::string_view bytes, size_t at, size_t count) {
  uint64_t value = 0;
  for (size_t i = 0; i < count; ++i) value |= uint64_t{static_cast<unsigned char>(bytes[at + i])} << (8 * i);
  return value;
}

// Data that can't be compressed grows a little.
bool IsBig(const ZipEntry& entry) {
  return entry.size >= 0xFF000000;
}

// Two seconds a step, from 1980 to 2107.
uint32_t DosTime(WallTime time) {
  CivilDate date = ToCivil(DayOf(time));
  int32_t second = SecondOfDay(time);
  if (date.year < 1980) {
    date = {1980, 1, 1};
    second = 0;
  }
  if (date.year > 2107) date = {2107, 12, 31};
  const int day = (date.year - 1980) << 9 | date.month << 5 | date.day;
  const int clock = second / 3600 << 11 | second / 60 % 60 << 5 | second % 60 / 2;
  return static_cast<uint32_t>(day) << 16 | static_cast<uint32_t>(clock);
}

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 128; });
}

// Readers take other names for bytes of a code page, and those of Unix for what they are.
uint16_t Flags(const std::string& name) {
  constexpr uint16_t kNameIsUtf8 = 1 << 11;
  return !IsAscii(name) && IsUtf8(name) ? kNameIsUtf8 : 0;
}

// The time to the second, whatever the zone of the reader.
std::string TimeField(const ZipEntry& entry) {
  std::string field;
  if (entry.written_s < 0 || entry.written_s > std::numeric_limits<int32_t>::max()) return field;
  Put(field, kTimeTag, 2);
  Put(field, 5, 2);
  Put(field, 1, 1);
  Put(field, entry.written_s, 4);
  return field;
}

// What both kinds of header have in common: from the version that a reader needs to the length of the name.
void PutShared(std::string& out, const ZipEntry& entry) {
  Put(out, IsBig(entry) ? 45 : 20, 2);
  Put(out, Flags(entry.name), 2);
  Put(out, 8, 2);  // Deflate.
  Put(out, DosTime(entry.written), 4);
  Put(out, entry.crc, 4);
  Put(out, IsBig(entry) ? kFull32 : entry.packed_size, 4);
  Put(out, IsBig(entry) ? kFull32 : entry.size, 4);
  Put(out, entry.name.size(), 2);
}

// Takes the sizes and the place out of the field that has them when they need more than 32 bits.
bool TakeZip64(std::string_view extra, ZipEntry& entry) {
  while (extra.size() >= 4) {
    const uint64_t tag = Get(extra, 0, 2);
    const size_t length = Get(extra, 2, 2);
    if (length > extra.size() - 4) return false;
    std::string_view field = extra.substr(4, length);
    extra.remove_prefix(4 + length);
    if (tag != kZip64Tag) continue;
    for (int64_t* number : {&entry.size, &entry.packed_size, &entry.offset}) {
      if (*number != int64_t{kFull32}) continue;
      if (field.size() < 8) return false;
      *number = static_cast<int64_t>(Get(field, 0, 8));
      field.remove_prefix(8);
    }
  }
  return true;
}

// The end records with 64 bits, which stand before the plain one.
std::optional<ZipEnd> ReadEnd64(std::string_view tail, size_t end_at, int64_t file_size) {
  if (end_at < kLocatorBytes + kEnd64Bytes) return std::nullopt;
  const size_t locator = end_at - kLocatorBytes, at = locator - kEnd64Bytes;
  if (Get(tail, locator, 4) != kLocatorMark || Get(tail, at, 4) != kEnd64Mark) return std::nullopt;
  const int64_t place = file_size - static_cast<int64_t>(tail.size() - at);
  if (Get(tail, locator + 8, 8) != static_cast<uint64_t>(place)) return std::nullopt;
  const ZipEnd end{static_cast<int64_t>(Get(tail, at + 32, 8)), static_cast<int64_t>(Get(tail, at + 48, 8)),
                   static_cast<int64_t>(Get(tail, at + 40, 8))};
  const bool sane = end.entries >= 0 && end.directory_size >= 0 && end.directory_offset >= 0 &&
                    end.directory_size <= place && end.directory_offset <= place;
  return sane && end.directory_offset + end.directory_size == place ? std::optional(end) : std::nullopt;
}

std::optional<ZipEntry> TakeRecord(std::string_view& bytes) {
  if (bytes.size() < kDirectoryBytes || Get(bytes, 0, 4) != kDirectoryMark) return std::nullopt;
  const size_t name = Get(bytes, 28, 2), extra = Get(bytes, 30, 2), comment = Get(bytes, 32, 2);
  if (bytes.size() - kDirectoryBytes < name + extra + comment) return std::nullopt;
  ZipEntry entry;
  entry.crc = static_cast<uint32_t>(Get(bytes, 16, 4));
  entry.packed_size = static_cast<int64_t>(Get(bytes, 20, 4));
  entry.size = static_cast<int64_t>(Get(bytes, 24, 4));
  entry.offset = static_cast<int64_t>(Get(bytes, 42, 4));
  entry.name = bytes.substr(kDirectoryBytes, name);
  if (!TakeZip64(bytes.substr(kDirectoryBytes + name, extra), entry)) return std::nullopt;
  bytes.remove_prefix(kDirectoryBytes + name + extra + comment);
  return entry;
}

}  // namespace

std::string LocalHeader(const ZipEntry& entry) {
  std::string extra;
  if (IsBig(entry)) {
    Put(extra, kZip64Tag, 2);
    Put(extra, 16, 2);
    Put(extra, entry.size, 8);
    Put(extra, entry.packed_size, 8);
  }
  extra += TimeField(entry);
  std::string out;
  Put(out, kLocalMark, 4);
  PutShared(out, entry);
  Put(out, extra.size(), 2);
  return out + entry.name + extra;
}

std::string DirectoryRecord(const ZipEntry& entry) {
  const bool far = entry.offset >= int64_t{kFull32};
  std::string extra;
  if (IsBig(entry) || far) {
    Put(extra, kZip64Tag, 2);
    Put(extra, (IsBig(entry) ? 16 : 0) + (far ? 8 : 0), 2);
    if (IsBig(entry)) Put(extra, entry.size, 8);
    if (IsBig(entry)) Put(extra, entry.packed_size, 8);
    if (far) Put(extra, entry.offset, 8);
  }
  extra += TimeField(entry);
  std::string out;
  Put(out, kDirectoryMark, 4);
  Put(out, 3 << 8 | 45, 2);  // Made on Unix.
  PutShared(out, entry);
  Put(out, extra.size(), 2);
  Put(out, 0, 2);  // Comment.
  Put(out, 0, 2);  // Disk.
  Put(out, 0, 2);  // Not known to be text.
  Put(out, (0100000 | (entry.mode & 0777)) << 16, 4);
  Put(out, far ? kFull32 : entry.offset, 4);
  return out + entry.name + extra;
}

std::string EndRecords(const ZipEnd& end) {
  std::string out;
  const bool big = end.entries >= kFull16 || end.directory_size >= kFull32 || end.directory_offset >= kFull32;
  if (big) {
    Put(out, kEnd64Mark, 4);
    Put(out, kEnd64Bytes - 12, 8);
    Put(out, 3 << 8 | 45, 2);
    Put(out, 45, 2);
    Put(out, 0, 8);  // Disks.
    Put(out, end.entries, 8);
    Put(out, end.entries, 8);
    Put(out, end.directory_size, 8);
    Put(out, end.directory_offset, 8);
    Put(out, kLocatorMark, 4);
    Put(out, 0, 4);
    Put(out, end.directory_offset + end.directory_size, 8);
    Put(out, 1, 4);
  }
  Put(out, kEndMark, 4);
  Put(out, 0, 4);
  Put(out, std::min<int64_t>(end.entries, kFull16), 2);
  Put(out, std::min<int64_t>(end.entries, kFull16), 2);
  Put(out, std::min<int64_t>(end.directory_size, kFull32), 4);
  Put(out, std::min<int64_t>(end.directory_offset, kFull32), 4);
  Put(out, 0, 2);
  return out;
}

std::optional<ZipEnd> ParseEnd(std::string_view tail, int64_t file_size) {
  const auto size = static_cast<int64_t>(tail.size());
  for (int64_t at = size - kEndBytes; at >= 0; --at) {
    const auto place = static_cast<size_t>(at);
    if (Get(tail, place, 4) != kEndMark) continue;
    // The comment fills the rest, or this is part of a comment.
    if (static_cast<int64_t>(Get(tail, place + 20, 2)) != size - at - kEndBytes) continue;
    const ZipEnd end{static_cast<int64_t>(Get(tail, place + 10, 2)), static_cast<int64_t>(Get(tail, place + 16, 4)),
                     static_cast<int64_t>(Get(tail, place + 12, 4))};
    const bool big = end.entries == kFull16 || end.directory_size == kFull32 || end.directory_offset == kFull32;
    if (const auto far = big ? ReadEnd64(tail, place, file_size) : std::nullopt) return far;
    const int64_t end_place = file_size - size + at;
    if (end.directory_offset + end.directory_size == end_place) return end;
    return std::nullopt;
  }
  return std::nullopt;
}

std::optional<std::vector<ZipEntry>> ParseDirectory(std::string_view bytes, const ZipEnd& end) {
  std::vector<ZipEntry> entries;
  while (!bytes.empty()) {
    auto entry = TakeRecord(bytes);
    if (!entry) return std::nullopt;
    const bool inside = entry->size >= 0 && entry->packed_size >= 0 && entry->offset >= 0 &&
                        entry->offset < end.directory_offset && entry->packed_size < end.directory_offset;
    if (!inside) return std::nullopt;
    entries.push_back(std::move(*entry));
  }
  if (static_cast<int64_t>(entries.size()) != end.entries) return std::nullopt;
  return entries;
}

}  // namespace vantry
