#include "setup/remote_place.h"

#include "core/screen_text.h"
#include "core/text.h"
#include "platform/ftp_text.h"

namespace vantry {
namespace {

constexpr int32_t kRemotePeriod = 60;  // Seconds between scans: each is a conversation with another machine.

int HexDigit(char c) {
  if (IsDigit(c)) return c - '0';
  const char lower = LowerAscii(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::string Decoded(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool coded =
        text[i] == '%' && i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 && HexDigit(text[i + 2]) >= 0;
    out += coded ? static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2])) : text[i];
    if (coded) i += 2;
  }
  return out;
}

}  // namespace

bool IsRemotePlace(std::string_view text) {
  return Contains(text.substr(0, 10), "://");
}

Status ReadRemotePlace(std::string_view text, const std::string& password, SiteRec& site) {
  const size_t begin = text.find("://") + 3;
  const size_t slash = text.find('/', begin);
  std::string_view place = text.substr(begin, slash == std::string_view::npos ? slash : slash - begin);
  if (const size_t at = place.rfind('@'); at != std::string_view::npos) {
    const std::string_view login = place.substr(0, at);
    const size_t colon = login.find(':');
    site.FTPUserName = Decoded(login.substr(0, colon));
    site.FTPPassword = colon == std::string_view::npos ? password : Decoded(login.substr(colon + 1));
    place.remove_prefix(at + 1);
  }
  const std::string scheme = Lower(text.substr(0, begin));
  site.FTPDomain = (scheme == "ftp://" ? "" : scheme) + std::string(place);
  FtpServer server;
  const Status status = ReadFtpServer(scheme + std::string(place), server);
  if (!status.ok()) {
    return Status::Error(Fail::kRefused, "'" + Printable(scheme + std::string(place)) +
                                             "' is not a server. Write ftp://user@host/folder/access.log, or ftps:, "
                                             "ftpes: or sftp: in place of ftp:.");
  }
  const std::string path = slash == std::string_view::npos ? "" : Decoded(text.substr(slash));
  const size_t last = path.rfind('/');
  site.Mask = last == std::string::npos ? "" : path.substr(last + 1);
  if (Trim(site.Mask).empty()) site.Mask = "*.log";
  site.FTPPath = last == std::string::npos ? "" : path.substr(0, last);
  for (const std::string* part : {&site.FTPUserName, &site.FTPPassword, &site.FTPPath, &site.Mask}) {
    if (!CanBeSaidInFtp(*part)) {
      return Status::Error(Fail::kRefused, "The address holds line ends or other control characters.");
    }
  }
  site.SelectMethod = site.Mask.find_first_of("*?") == std::string::npos ? FileChoice::kSameName : FileChoice::kByDate;
  site.FTP = site.FTPPassive = true;
  site.Frequency = kRemotePeriod;
  return Status::Ok();
}

}  // namespace vantry
