// Texts of an FTP dialogue: what names a server, what a URL holds, what a listing says. No sockets.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/date_time.h"
#include "core/status.h"
#include "ports/ftp.h"

namespace vantry {

struct FtpServer {
  enum class Kind {
    kPlain,     // FTP, encrypted when the server offers it.
    kImplicit,  // Encrypted from the first byte on.
    kExplicit,  // Encrypted by the server's leave, or not at all.
    kSsh,
  };
  Kind kind = Kind::kPlain;
  std::string host;  // A name, an IPv4 address, or an IPv6 address in brackets.
  uint16_t port = 21;

  std::string Place() const { return host + ":" + std::to_string(port); }
};

// "host", "host:port", "ftp://...", "ftps://..." (port 990 when it names none; with port 21 encryption starts by the
// server's leave), "ftpes://..." or "sftp://...". Blanks around it and one "/" at its end don't matter. kBadData names
// a text that is not a server.
Status ReadFtpServer(std::string_view text, FtpServer& server);

// The address of a file, or of the folder when the name is empty. A folder that begins with "/" is counted from the
// root, any other from where the login leads. No byte of either can end a command.
std::string FtpUrl(const FtpServer& server, std::string_view folder, std::string_view name);

// Whether the text can stand in a command: it holds no line end, NUL or other control character.
bool CanBeSaidInFtp(std::string_view text);

// One line of a listing in the form of Unix or MS-DOS. Empty for a line that is neither, "." and "..", and a name that
// can't be asked for. `now` tells the year of dates without one: such a date lies within the last twelve months.
std::optional<FtpEntry> ParseFtpListLine(std::string_view line, WallTime now);

}  // namespace vantry
