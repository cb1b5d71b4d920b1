#include "platform/ftp_text.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <vector>

#include <arpa/inet.h>

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

constexpr size_t kMaxFtpHost = 253, kMaxFtpText = 100, kMaxListLine = 8'192;

struct SchemeRow {
  std::string_view start;
  FtpServer::Kind kind;
  uint16_t port;
};
constexpr SchemeRow kSchemes[] = {
    {"ftp://", FtpServer::Kind::kPlain, 21},
    {"ftps://", FtpServer::Kind::kImplicit, 990},
    {"ftpes://", FtpServer::Kind::kExplicit, 21},
    {"sftp://", FtpServer::Kind::kSsh, 22},
};

bool IsFtpHost(std::string_view host) {
  if (host.starts_with('[') && host.ends_with(']')) {
    in6_addr unused{};
    return ::inet_pton(AF_INET6, std::string(host.substr(1, host.size() - 2)).c_str(), &unused) == 1;
  }
  return !host.empty() && host.size() <= kMaxFtpHost && host.front() != '-' &&
         std::all_of(host.begin(), host.end(), [](char c) {
           return IsDigit(c) || (LowerAscii(c) >= 'a' && LowerAscii(c) <= 'z') || c == '-' || c == '.' || c == '_';
         });
}

// The next word and what follows it, blanks in front of both taken away.
std::string_view NextWord(std::string_view& text) {
  const size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
  const size_t end = std::min(text.find_first_of(" \t", begin), text.size());
  const std::string_view word = text.substr(begin, end - begin);
  text.remove_prefix(end);
  return word;
}

std::optional<int> Digits(std::string_view text, size_t most) {
  int n = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), n);
  if (text.empty() || text.size() > most || error != std::errc() || end != text.data() + text.size() || n < 0)
    return std::nullopt;
  return n;
}

// A size that is beyond all files is the largest one.
std::optional<int64_t> SizeOf(std::string_view text) {
  if (text.empty() || !std::all_of(text.begin(), text.end(), IsDigit)) return std::nullopt;
  int64_t n = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), n);
  return error == std::errc() ? n : std::numeric_limits<int64_t>::max();
}

bool TakeName(std::string_view name, FtpEntry& entry) {
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string_view::npos || !CanBeSaidInFtp(name))
    return false;
  entry.name = name;
  return true;
}

// Two digits are enough for the years in which files are made; the year 0 would be taken for this one.
std::string TimeText(int year, int month, int day, const std::string& time) {
  if (year > 2000 && year < 2030) {
    return PadNumber(month, 2) + "-" + PadNumber(day, 2) + "-" + PadNumber(year % 100, 2) + " " + time;
  }
  constexpr std::string_view kNames = "JanFebMarAprMayJunJulAugSepOctNovDec";
  return std::to_string(day) + " " + std::string(kNames.substr(static_cast<size_t>(month - 1) * 3, 3)) + " " +
         std::to_string(year) + " " + time;
}

// "Jan 15 03:04" or "Jan 15 2002"; some servers put the day first, or a zero in front of the year's four digits.
std::string UnixTime(std::string_view first, std::string_view second, std::string_view third, WallTime now) {
  int month = first.size() == 3 ? MonthFromName(first) : 0;
  auto day = Digits(second, 2);
  if (month == 0 && second.size() == 3) {
    month = MonthFromName(second);
    day = Digits(first, 2);
  }
  if (month == 0 || !day) return {};
  const bool has_year = third.find(':') == std::string_view::npos;
  const CivilDate today = ToCivil(DayOf(now));
  int year = today.year;
  if (has_year) {
    const auto written = Digits(third, 4);
    if (!written || *written < 1900) return {};
    year = *written;
  } else if (const auto date = MakeDay(year, month, *day); !date || date->n > DayOf(now).n + 1) {
    // A server's clock or zone may be a day ahead.
    --year;
  }
  const auto time = ParseTime(has_year ? "00:00" : third);
  if (!MakeDay(year, month, *day) || !time) return {};
  return TimeText(year, month, *day, FormatTime(*time).substr(0, 5));
}

// "-rw-r--r--   1 owner group   1234 Jan 15 03:04 name": between the links and the size stand one or more words. The
// size is known by the date after it.
std::optional<FtpEntry> ParseUnixLine(std::string_view line, WallTime now) {
  constexpr std::string_view kTypes = "-dlbcps";
  std::string_view rest = line;
  const std::string_view rights = NextWord(rest);
  if (rights.size() < 10 || kTypes.find(rights[0]) == std::string_view::npos) return std::nullopt;
  FtpEntry entry;
  entry.is_folder = rights[0] != '-' && rights[0] != 'l';
  entry.is_link = rights[0] == 'l';
  std::string_view words[4];
  for (std::string_view& word : words) word = NextWord(rest);
  for (int n = 0; n < 6 && !words[3].empty(); ++n) {
    const auto size = SizeOf(words[0]);
    std::string time = size ? UnixTime(words[1], words[2], words[3], now) : std::string();
    if (!time.empty() && rest.size() > 1) {
      entry.size_bytes = *size;
      entry.time_text = std::move(time);
      std::string_view name = rest.substr(1);  // One blank; others belong to the name.
      if (entry.is_link) name = name.substr(0, name.find(" -> "));
      return TakeName(name, entry) ? std::optional(entry) : std::nullopt;
    }
    std::rotate(std::begin(words), std::begin(words) + 1, std::end(words));
    words[3] = NextWord(rest);
  }
  return std::nullopt;
}

// "01-15-02  03:04PM       <DIR>          name", or a size in the place of "<DIR>"; the year may have four digits.
std::optional<FtpEntry> ParseDosLine(std::string_view line) {
  std::string_view rest = line;
  const std::string_view date = NextWord(rest), time = NextWord(rest), size = NextWord(rest);
  if ((date.size() != 8 && date.size() != 10) || !ParseTime(time)) return std::nullopt;
  if ((date[2] != '-' && date[2] != '/') || date[5] != date[2]) return std::nullopt;
  const auto month = Digits(date.substr(0, 2), 2), day = Digits(date.substr(3, 2), 2), year = Digits(date.substr(6), 4);
  // 2000 is a leap year, as is any that the form of two digits leaves open.
  const bool whole = month && day && year && MakeDay(date.size() == 8 ? 2000 : *year, *month, *day);
  FtpEntry entry;
  const auto bytes = SizeOf(size);
  entry.is_folder = EqualsNoCase(size, "<DIR>") || EqualsNoCase(size, "<JUNCTION>");
  if (!whole || (!bytes && !entry.is_folder) || rest.empty()) return std::nullopt;
  entry.size_bytes = bytes.value_or(0);
  entry.time_text = date.size() == 8 ? PadNumber(*month, 2) + "-" + PadNumber(*day, 2) + "-" + PadNumber(*year, 2) +
                                           " " + std::string(time)
                                     : TimeText(*year, *month, *day, std::string(time));
  const size_t begin = rest.find_first_not_of(' ');
  if (begin == std::string_view::npos || !TakeName(rest.substr(begin), entry)) return std::nullopt;
  return entry;
}

}  // namespace

Status ReadFtpServer(std::string_view text, FtpServer& server) {
  std::string_view place = Trim(text);
  server = {};
  const std::string start = Lower(place.substr(0, 8));
  for (const SchemeRow& row : kSchemes) {
    if (!StartsWith(start, row.start)) continue;
    place.remove_prefix(row.start.size());
    server.kind = row.kind;
    server.port = row.port;
    if (place.ends_with('/')) place.remove_suffix(1);
    break;
  }
  const size_t colon = place.ends_with(']') ? std::string_view::npos : place.rfind(':');
  server.host = place.substr(0, colon);
  if (IsFtpHost(server.host) && (colon == std::string_view::npos || ReadPort(place.substr(colon + 1), server.port))) {
    if (server.kind == FtpServer::Kind::kImplicit && server.port == 21) server.kind = FtpServer::Kind::kExplicit;
    return Status::Ok();
  }
  return Status::Error(Fail::kBadData, "'" + ToOneLine(text.substr(0, kMaxFtpText)) +
                                           "' is not an FTP server; write host, host:port, ftps://host or sftp://host "
                                           "in FTPDomain");
}

bool CanBeSaidInFtp(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; });
}

std::string FtpUrl(const FtpServer& server, std::string_view folder, std::string_view name) {
  std::string url = server.kind == FtpServer::Kind::kSsh        ? "sftp://"
                    : server.kind == FtpServer::Kind::kImplicit ? "ftps://"
                                                                : "ftp://";
  url += server.Place() + "/";
  const auto add = [&url](std::string_view part) {
    constexpr std::string_view kHex = "0123456789ABCDEF";
    for (const char c : part) {
      const auto byte = static_cast<unsigned char>(c);
      const bool plain = IsDigit(c) || (LowerAscii(c) >= 'a' && LowerAscii(c) <= 'z') || c == '.' || c == '_';
      if (plain || c == '/') {
        url += c;
      } else {
        url += {'%', kHex[byte >> 4], kHex[byte & 15]};
      }
    }
  };
  // A "/" that stands for the root itself; for sftp the path begins there unless "~" says otherwise.
  const bool ssh = server.kind == FtpServer::Kind::kSsh;
  const bool from_root = folder.starts_with('/');
  while (folder.starts_with('/')) folder.remove_prefix(1);
  while (folder.ends_with('/')) folder.remove_suffix(1);
  if (from_root && !ssh) url += "%2F";
  if (!from_root && ssh) url += "~/";
  add(folder);
  if (!folder.empty()) url += '/';
  std::string_view last = name;
  while (last.starts_with('/')) last.remove_prefix(1);
  add(last);
  return url;
}

std::optional<FtpEntry> ParseFtpListLine(std::string_view line, WallTime now) {
  while (line.ends_with('\r') || line.ends_with('\n')) line.remove_suffix(1);
  if (line.size() < 10 || line.size() > kMaxListLine) return std::nullopt;
  auto entry = IsDigit(line[0]) ? ParseDosLine(line) : ParseUnixLine(line, now);
  if (entry) entry->text = line;
  return entry;
}

}  // namespace vantry
