// One job of an FTP login by libcurl: blocks until it is done, and tells what happens on its way.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/date_time.h"
#include "core/status.h"
#include "platform/ftp_text.h"
#include "ports/ftp.h"

namespace vantry {

// All in milliseconds.
struct FtpLimits {
  int connect = 30'000;  // Until the connection stands.
  int reply = 60'000;    // For each answer to a command, and for the rows of a listing.
};

// Files of the authorities that sign certificates and of the known keys of SSH servers; empty for those of the system.
struct FtpTrust {
  std::string file, folder, known_hosts;
};

struct FtpJob {
  enum class Kind { kLogOn, kSize, kList, kDownload, kHelp };
  Kind kind = Kind::kLogOn;
  FtpDownload file;  // Folder and name; the rest for a download alone.
  WallTime now;      // For the years of a listing.
};

// What a job tells on its way; kDone comes last.
struct FtpNote {
  enum class Kind { kEntry, kStart, kChunk, kTrail, kDone };
  Kind kind = Kind::kTrail;
  FtpTrail trail = FtpTrail::kInformation;
  std::string text;   // A chunk, or a line of the dialogue. Of kDone: the reply to SIZE.
  int64_t count = 0;  // Position in the remote file of the byte after the chunk.
  FtpEntry entry;
  Status status;
  int code = 0;
  bool connected = false;
};

// Where it tells that. Both calls may wait until somebody takes what was told before.
class FtpNotes {
 public:
  virtual ~FtpNotes() = default;
  virtual void Push(FtpNote note) = 0;
  virtual void PushChunk(int64_t count, std::string_view bytes) = 0;
  // Nobody wants to be told any more.
  virtual bool Cancelled() const = 0;
};

// Who is asked, and what is known of the server from earlier jobs.
struct FtpPeer {
  FtpServer server;
  FtpLogon logon;
  FtpLimits limits;
  FtpTrust trust;
  void* curl = nullptr;      // Keeps the connection from job to job.
  bool size_stops = false;   // The server refuses SIZE in a way that libcurl takes for a missing file.
  bool skips_front = false;  // The server takes no REST: what was read before is fetched again and thrown away.

  FtpPeer(FtpServer s, FtpLogon l, FtpLimits t, FtpTrust files);
  ~FtpPeer() { Close(); }
  FtpPeer(const FtpPeer&) = delete;
  FtpPeer& operator=(const FtpPeer&) = delete;
  // Says good-bye if the connection stands, and waits for no answer.
  void Close();
};

// Fills in what became of it in `last`.
void RunFtpJob(FtpPeer& peer, const FtpJob& job, FtpNotes& notes, FtpNote& last);

}  // namespace vantry
