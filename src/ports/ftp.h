#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "core/status.h"

namespace vantry {

struct FtpLogon {
  // "host", "host:port", "ftps://...", "ftpes://..." or "sftp://...".
  std::string server;
  std::string user, password;
  bool passive = false;
  int patience_s = 0;  // For the connection and each answer; 0 is the usual.
  bool operator==(const FtpLogon&) const = default;
};

// One line of a long directory listing.
struct FtpEntry {
  std::string text;  // The line itself.
  std::string name;
  bool is_folder = false;
  bool is_link = false;  // Its size is not that of the file.
  int64_t size_bytes = 0;
  // "MM-DD-YY hh:mm", with "AM" or "PM" at its end if the server tells times so; a date whose year has no such form as
  // "D Mon YYYY hh:mm"; empty if there is none.
  std::string time_text;
};

struct FtpDownload {
  std::string folder, name;
  int64_t start_byte = 0;
  int timeout_s = 0;  // The download fails when nothing has come for so long; 0 is no limit.
};

// Who said a line of the dialogue with a server.
enum class FtpTrail { kSent, kReceived, kInformation };

// What a client tells, on the loop, in the order in which it happened.
class FtpEvents {
 public:
  virtual ~FtpEvents() = default;
  // Asked before anything is told. If not now, it is asked again some milliseconds later.
  virtual bool TakesEvents() = 0;
  // The end of LogOn, Size, List and Help. A failure's text names the server and says what to do.
  virtual void Done(const Status& status) = 0;
  // One entry of List.
  virtual void DirectoryEntry(const FtpEntry& entry) = 0;
  // A download: once the first, any number of the second, one of the last two. `count` is the position in the remote
  // file of the byte after the chunk. An error has the code of a Windows socket where there is one, otherwise 0; it is
  // kNotFound for a file that is not there, kBadData for one that ends before the start byte.
  virtual void StartOfTransfer() = 0;
  virtual void Transfer(int64_t count, std::string_view chunk) = 0;
  virtual void EndOfTransfer() = 0;
  virtual void Error(int code, const Status& status) = 0;
  // A line of the dialogue with the server, without passwords.
  virtual void ProtocolTrail(FtpTrail direction, std::string_view message) = 0;
};

// A connection to one server. One thing at a time: a call of the upper half while another is under way does nothing.
class FtpClient {
 public:
  // Ends what is under way; nothing is told any more.
  virtual ~FtpClient() = default;
  // Logged on, as far as is known: a server that has hung up meanwhile is logged on to again by the next call.
  virtual bool Connected() const = 0;
  virtual bool Idle() const = 0;
  // The server's last reply to the command of Size.
  virtual const std::string& LastReply() const = 0;

  virtual void LogOn(const FtpLogon& logon) = 0;
  virtual void Size(const std::string& folder, const std::string& name) = 0;
  virtual void List(const std::string& folder) = 0;
  virtual void Download(const FtpDownload& download) = 0;
  // Asks the server what it can do. What it answers is in the trail alone; without such a command nothing is asked.
  virtual void Help() = 0;
  // Ends what is under way, which is not told, and the connection.
  virtual void LogOff() = 0;
};

// Fetches files from other machines.
class Ftp {
 public:
  virtual ~Ftp() = default;
  // `events` outlives the client.
  virtual std::unique_ptr<FtpClient> NewClient(FtpEvents& events) = 0;
};

}  // namespace vantry
