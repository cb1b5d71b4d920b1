#include "platform/ftp_transfer.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <system_error>
#include <utility>

#include <curl/curl.h>
#include <sys/socket.h>

#include "core/text.h"
#include "core/text_encoding.h"
#include "platform/ftp_dialogue.h"

namespace vantry {
namespace {

using std::chrono::steady_clock;
using Kind = FtpJob::Kind;

// Codes of a Windows socket.
constexpr int kAborted = 10'053, kReset = 10'054, kTimedOut = 10'060, kRefused = 10'061, kNoHost = 11'001;
constexpr size_t kLongestListLine = 8'192;

std::string SecondsText(int ms) {
  return ms % 1'000 == 0 ? std::to_string(ms / 1'000) + " s" : std::to_string(ms) + " ms";
}

struct FreedList {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

class FtpTransfer {
 public:
  FtpTransfer(FtpPeer& peer, const FtpJob& job, FtpNotes& notes)
      : peer_(peer), job_(job), notes_(notes), curl_(static_cast<CURL*>(peer.curl)), dialogue_(peer.logon.password) {}
  void Run(FtpNote& last);

 private:
  using Time = steady_clock::time_point;

  template <class T>
  void Set(CURLoption option, T value) {
    const CURLcode code = curl_easy_setopt(curl_, option, value);
    if (setup_ == CURLE_OK) setup_ = code;
  }
  void SetUp();
  void SetUpSafety();
  void SetUpDialogue();
  void SetUpFile();
  void Quote(const std::string& command);
  CURLcode Perform();
  CURLcode PerformOnce(bool fresh);
  CURLcode TryOtherWays(CURLcode code);
  bool GoesOn() const;
  // SSH has no command for a size: it is looked up in the listing of the folder.
  bool Lists() const { return job_.kind == Kind::kList || (job_.kind == Kind::kSize && Ssh()); }
  bool Ssh() const { return peer_.server.kind == FtpServer::Kind::kSsh; }
  bool LastsTooLong(Time since, int limit_ms) const {
    return steady_clock::now() - since > std::chrono::milliseconds(limit_ms);
  }
  void Sent(std::string_view command);
  void Reply(std::string_view line);
  void Trail(FtpTrail direction, std::string text);
  size_t Receive(std::string_view bytes);
  void TakeListing(std::string_view bytes);
  void TakeListLine();
  void TakeFile(std::string_view bytes);
  void Begin();
  bool StaysConnected(CURLcode code) const;
  static Fail FailOf(CURLcode code);
  int SocketCode(CURLcode code) const;
  std::string FailureText(CURLcode code) const;
  std::string TimeOutText() const;
  std::string CertificateText(CURLcode code) const;
  std::string NoConnectionText(CURLcode code) const;
  std::string CurlText(CURLcode code) const;

  FtpPeer& peer_;
  const FtpJob& job_;
  FtpNotes& notes_;
  CURL* curl_;
  FtpDialogue dialogue_;
  std::unique_ptr<curl_slist, FreedList> quotes_;
  CURLcode setup_ = CURLE_OK;
  Time asked_ = steady_clock::now();  // When the last command went out.
  Time heard_ = asked_;               // When something of a file or listing came last.
  bool waits_ = true;                 // For the answer to a command, or the greeting.
  bool greeted_ = false;              // The connection is new.
  bool begun_ = false;
  int64_t position_ = 0;  // In the remote file, of the byte that comes next.
  std::string line_;      // Of a listing, as far as it has come.
  char error_[CURL_ERROR_SIZE] = "";
};

void FtpTransfer::SetUp() {
  curl_easy_reset(curl_);  // The connection stays.
  quotes_.reset();
  Set(CURLOPT_URL, FtpUrl(peer_.server, job_.file.folder, Lists() ? "" : job_.file.name).c_str());
  Set(CURLOPT_PROTOCOLS_STR, "ftp,ftps,sftp");
  Set(CURLOPT_NOSIGNAL, 1L);
  Set(CURLOPT_PROXY, "");  // Those of the environment are for the web.
  Set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  Set(CURLOPT_ERRORBUFFER, error_);
  Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(peer_.limits.connect));
  Set(CURLOPT_ACCEPTTIMEOUT_MS, static_cast<long>(peer_.limits.connect));
  Set(CURLOPT_SERVER_RESPONSE_TIMEOUT, std::max(1L, static_cast<long>(peer_.limits.reply / 1'000)));
  Set(CURLOPT_TCP_KEEPALIVE, 1L);
  Set(CURLOPT_QUICK_EXIT, 1L);  // Leaves a name look-up that hangs to itself.
  Set(CURLOPT_USERNAME, peer_.logon.user.empty() ? "anonymous" : peer_.logon.user.c_str());
  Set(CURLOPT_PASSWORD, peer_.logon.password.c_str());
  Set(CURLOPT_FTP_FILEMETHOD, static_cast<long>(CURLFTPMETHOD_SINGLECWD));
  Set(CURLOPT_FTPPORT, peer_.logon.passive ? nullptr : "-");
  SetUpSafety();
  SetUpDialogue();
  SetUpFile();
}

// Encryption wherever it is offered. Whoever insists on it writes so, and then it matters who is at the other end.
void FtpTransfer::SetUpSafety() {
  const bool insists =
      peer_.server.kind == FtpServer::Kind::kImplicit || peer_.server.kind == FtpServer::Kind::kExplicit;
  Set(CURLOPT_USE_SSL, static_cast<long>(insists ? CURLUSESSL_ALL : CURLUSESSL_TRY));
  Set(CURLOPT_SSL_VERIFYPEER, insists ? 1L : 0L);
  Set(CURLOPT_SSL_VERIFYHOST, insists ? 2L : 0L);
  if (!insists) Set(CURLOPT_CAINFO, static_cast<char*>(nullptr));
  if (!insists) Set(CURLOPT_CAPATH, static_cast<char*>(nullptr));
  if (insists && !peer_.trust.file.empty()) Set(CURLOPT_CAINFO, peer_.trust.file.c_str());
  if (insists && !peer_.trust.folder.empty()) Set(CURLOPT_CAPATH, peer_.trust.folder.c_str());
  if (Ssh()) Set(CURLOPT_SSH_KNOWNHOSTS, peer_.trust.known_hosts.c_str());
}

void FtpTransfer::SetUpDialogue() {
  Set(CURLOPT_VERBOSE, 1L);
  Set(CURLOPT_DEBUGDATA, this);
  Set(
      CURLOPT_DEBUGFUNCTION, +[](CURL*, curl_infotype type, char* bytes, size_t size, void* self) {
        if (type == CURLINFO_HEADER_OUT) static_cast<FtpTransfer*>(self)->Sent({bytes, size});
        return 0;
      });
  Set(CURLOPT_HEADERDATA, this);
  Set(
      CURLOPT_HEADERFUNCTION, +[](char* bytes, size_t, size_t size, void* self) {
        static_cast<FtpTransfer*>(self)->Reply({bytes, size});
        return size;
      });
  Set(CURLOPT_WRITEDATA, this);
  Set(
      CURLOPT_WRITEFUNCTION, +[](char* bytes, size_t, size_t size, void* self) {
        return static_cast<FtpTransfer*>(self)->Receive({bytes, size});
      });
  Set(CURLOPT_NOPROGRESS, 0L);
  Set(CURLOPT_XFERINFODATA, this);
  Set(
      CURLOPT_XFERINFOFUNCTION, +[](void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
        return static_cast<FtpTransfer*>(self)->GoesOn() ? 0 : 1;
      });
}

void FtpTransfer::Quote(const std::string& command) {
  curl_slist* longer = curl_slist_append(quotes_.get(), command.c_str());
  if (!longer) setup_ = CURLE_OUT_OF_MEMORY;
  if (longer && !quotes_) quotes_.reset(longer);
}

void FtpTransfer::SetUpFile() {
  const bool asks = job_.kind != Kind::kDownload && !Lists();
  Set(CURLOPT_NOBODY, asks ? 1L : 0L);
  if (job_.kind == Kind::kHelp && !Ssh()) {
    Quote("*HELP");  // With the star a refusal does not matter.
    Set(CURLOPT_QUOTE, quotes_.get());
  }
  if (job_.kind != Kind::kDownload) return;
  const int64_t start = peer_.skips_front ? 0 : job_.file.start_byte;
  position_ = start;
  if (!peer_.size_stops) {
    Set(CURLOPT_RESUME_FROM_LARGE, static_cast<curl_off_t>(start));
    return;
  }
  // Without the SIZE that libcurl sends before it fetches a file: what is fetched is a listing of another kind.
  Set(CURLOPT_URL, FtpUrl(peer_.server, job_.file.folder, "").c_str());
  Quote("TYPE I");
  if (start > 0) Quote("REST " + std::to_string(start));
  Set(CURLOPT_PREQUOTE, quotes_.get());
  Set(CURLOPT_CUSTOMREQUEST, ("RETR " + job_.file.name).c_str());
}

bool FtpTransfer::GoesOn() const {
  if (notes_.Cancelled()) return false;
  if (waits_ && !Ssh()) return !LastsTooLong(asked_, peer_.limits.reply);
  if (job_.kind != Kind::kDownload) return !LastsTooLong(heard_, peer_.limits.reply);
  return job_.file.timeout_s <= 0 || !LastsTooLong(heard_, job_.file.timeout_s * 1'000);
}

void FtpTransfer::Trail(FtpTrail direction, std::string text) {
  FtpNote note;
  note.trail = direction;
  note.text = std::move(text);
  notes_.Push(std::move(note));
}

void FtpTransfer::Sent(std::string_view command) {
  std::string shown = dialogue_.Sent(command);
  asked_ = steady_clock::now();
  waits_ = true;
  Trail(FtpTrail::kSent, std::move(shown));
}

void FtpTransfer::Reply(std::string_view line) {
  // libcurl adds lines of its own, like those of a web server.
  if (line.empty() || !IsDigit(line[0])) return;
  Trail(FtpTrail::kReceived, dialogue_.Shown(line));
  if (!dialogue_.Received(line)) return;
  waits_ = false;
  heard_ = steady_clock::now();
  greeted_ = greeted_ || dialogue_.Command().empty();
  if (dialogue_.Command() == "RETR" && dialogue_.Code() < 200) Begin();
}

void FtpTransfer::Begin() {
  if (job_.kind != Kind::kDownload || std::exchange(begun_, true)) return;
  FtpNote note;
  note.kind = FtpNote::Kind::kStart;
  notes_.Push(std::move(note));
}

size_t FtpTransfer::Receive(std::string_view bytes) {
  if (job_.kind == Kind::kDownload) {
    Begin();
    TakeFile(bytes);
  } else {
    TakeListing(bytes);
  }
  heard_ = steady_clock::now();
  return notes_.Cancelled() ? 0 : bytes.size();
}

void FtpTransfer::TakeFile(std::string_view bytes) {
  const int64_t known =
      std::min<int64_t>(static_cast<int64_t>(bytes.size()), std::max<int64_t>(job_.file.start_byte - position_, 0));
  position_ += static_cast<int64_t>(bytes.size());
  bytes.remove_prefix(static_cast<size_t>(known));
  if (!bytes.empty()) notes_.PushChunk(position_, bytes);
}

void FtpTransfer::TakeListing(std::string_view bytes) {
  while (!bytes.empty()) {
    const size_t end = bytes.find('\n');
    const std::string_view part = bytes.substr(0, end);
    if (line_.size() <= kLongestListLine) line_ += part;
    if (end == std::string_view::npos) return;
    TakeListLine();
    bytes.remove_prefix(end + 1);
  }
}

void FtpTransfer::TakeListLine() {
  auto entry = ParseFtpListLine(line_, job_.now);
  line_.clear();
  if (entry && job_.kind == Kind::kSize) {
    if (entry->name != job_.file.name || entry->is_link) return;
    (void)dialogue_.Sent("SIZE");
    (void)dialogue_.Received("213 " + std::to_string(entry->size_bytes));
    return;
  }
  if (!entry) return;
  FtpNote note;
  note.kind = FtpNote::Kind::kEntry;
  note.entry = std::move(*entry);
  notes_.Push(std::move(note));
}

CURLcode FtpTransfer::PerformOnce(bool fresh) {
  setup_ = CURLE_OK;
  error_[0] = '\0';
  waits_ = true;
  greeted_ = false;
  asked_ = heard_ = steady_clock::now();
  line_.clear();
  SetUp();
  Set(CURLOPT_FRESH_CONNECT, fresh ? 1L : 0L);
  return setup_ == CURLE_OK ? curl_easy_perform(curl_) : setup_;
}

// A server that has hung up since the last job says so when it is asked, if not before.
CURLcode FtpTransfer::Perform() {
  const CURLcode code = PerformOnce(false);
  const bool lost = code == CURLE_SEND_ERROR || code == CURLE_RECV_ERROR || code == CURLE_GOT_NOTHING ||
                    (code != CURLE_OK && dialogue_.Code() == 421);
  return lost && !greeted_ && !begun_ && !notes_.Cancelled() ? PerformOnce(true) : code;
}

// What a server can't do is remembered, and done without.
CURLcode FtpTransfer::TryOtherWays(CURLcode code) {
  if (job_.kind != Kind::kDownload || begun_ || Ssh()) return code;
  const std::string& command = dialogue_.Command();
  if (code == CURLE_REMOTE_FILE_NOT_FOUND && command == "SIZE" && CanBeSaidInFtp(job_.file.name)) {
    peer_.size_stops = true;
    code = Perform();
    if (FailOf(code) == Fail::kNotFound) peer_.size_stops = false;  // It is missing indeed.
  }
  const bool no_rest = command == "REST" && dialogue_.Code() >= 500 && dialogue_.Code() != 554;
  if ((code == CURLE_FTP_COULDNT_USE_REST || code == CURLE_QUOTE_ERROR) && no_rest) {
    peer_.skips_front = true;
    code = Perform();
  }
  return code;
}

void FtpTransfer::Run(FtpNote& last) {
  CURLcode code = TryOtherWays(Perform());
  if (Lists() && !line_.empty()) TakeListLine();
  // A server may say at the end of a listing that there was nothing to list.
  const bool empty_list = job_.kind == Kind::kList && code == CURLE_REMOTE_FILE_NOT_FOUND;
  const bool told_size = job_.kind == Kind::kSize && (dialogue_.SizeCode() > 0 || (Ssh() && code == CURLE_OK));
  if (empty_list || told_size) code = CURLE_OK;
  // The options point to this object, and to texts that go with it; a good-bye comes later.
  const std::string failure = code == CURLE_OK ? "" : FailureText(code);
  last.connected = code == CURLE_OK || StaysConnected(code);
  last.code = SocketCode(code);
  last.text = dialogue_.SizeReply();
  if (code == CURLE_OK) {
    Begin();
  } else {
    last.status = Status::Error(FailOf(code), peer_.server.Place() + ": " + failure);
  }
  curl_easy_reset(curl_);
  curl_easy_setopt(curl_, CURLOPT_NOSIGNAL, 1L);
}

bool FtpTransfer::StaysConnected(CURLcode code) const {
  switch (code) {
    case CURLE_REMOTE_FILE_NOT_FOUND:
    case CURLE_REMOTE_ACCESS_DENIED:
    case CURLE_FTP_COULDNT_RETR_FILE:
    case CURLE_FTP_COULDNT_USE_REST:
    case CURLE_BAD_DOWNLOAD_RESUME:
    case CURLE_QUOTE_ERROR:
      return dialogue_.Code() != 421;
    default:
      return false;
  }
}

Fail FtpTransfer::FailOf(CURLcode code) {
  if (code == CURLE_REMOTE_FILE_NOT_FOUND || code == CURLE_FTP_COULDNT_RETR_FILE) return Fail::kNotFound;
  if (code == CURLE_BAD_DOWNLOAD_RESUME || code == CURLE_FTP_COULDNT_USE_REST) return Fail::kBadData;
  return Fail::kIo;
}

int FtpTransfer::SocketCode(CURLcode code) const {
  long error = 0;
  curl_easy_getinfo(curl_, CURLINFO_OS_ERRNO, &error);
  switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_ABORTED_BY_CALLBACK:
    case CURLE_FTP_ACCEPT_TIMEOUT:
      return kTimedOut;
    case CURLE_COULDNT_RESOLVE_HOST:
      return kNoHost;
    case CURLE_COULDNT_CONNECT:
      return error == ECONNREFUSED ? kRefused : kTimedOut;
    case CURLE_SEND_ERROR:
      return error == EPIPE || error == ECONNABORTED ? kAborted : kReset;
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
      return error == ECONNABORTED ? kAborted : kReset;
    default:
      return 0;
  }
}

std::string FtpTransfer::TimeOutText() const {
  curl_off_t found = 0, connected = 0;
  curl_easy_getinfo(curl_, CURLINFO_NAMELOOKUP_TIME_T, &found);
  curl_easy_getinfo(curl_, CURLINFO_CONNECT_TIME_T, &connected);
  const std::string limit = SecondsText(peer_.limits.connect);
  if (dialogue_.Command().empty() && !greeted_ && found == 0) return "no name server knew the name within " + limit;
  if (dialogue_.Command().empty() && !greeted_ && connected == 0) return "no connection within " + limit;
  if (waits_) return "the server did not answer within " + SecondsText(peer_.limits.reply) + "; see whether it hangs";
  const int silent = job_.kind == Kind::kDownload ? job_.file.timeout_s * 1'000 : peer_.limits.reply;
  return "nothing came of " + (job_.file.name.empty() ? "the listing" : "'" + ToOneLine(job_.file.name) + "'") +
         " for " + SecondsText(silent);
}

std::string FtpTransfer::CertificateText(CURLcode code) const {
  if (Ssh()) {
    return "the key of the server is not known; look at it and add it to " + peer_.trust.known_hosts +
           ", for example with ssh-keyscan";
  }
  return "the certificate is not valid: " + CurlText(code) + "; write the host without ftps:// if that doesn't matter";
}

std::string FtpTransfer::FailureText(CURLcode code) const {
  const std::string& words = dialogue_.Words();
  const std::string said = words.empty() ? CurlText(code) : words;
  const std::string name = "'" + ToOneLine(job_.file.name) + "'";
  if (dialogue_.Code() == 421) return "the server takes no more for now: " + words;
  if (StartsWith(error_, "Too large")) return "the server says more than its clients can read; see how it greets them";
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
      return "the name of the server is not known; check FTPDomain";
    case CURLE_COULDNT_CONNECT:
      if (dialogue_.Command() == "EPSV" || dialogue_.Command() == "PASV")
        return "no data connection to the server; try FTPPassive=False";
      return "no connection; see whether the server runs, and check FTPDomain: " + NoConnectionText(code);
    case CURLE_LOGIN_DENIED:
      return "the login was refused: " + said + "; check FTPUserName and FTPPassword";
    case CURLE_REMOTE_ACCESS_DENIED:
      return "the folder '" + ToOneLine(job_.file.folder) + "' can't be opened: " + said + "; check FTPPath";
    case CURLE_REMOTE_FILE_NOT_FOUND:
    case CURLE_FTP_COULDNT_RETR_FILE:
      return name + " can't be fetched: " + said;
    case CURLE_BAD_DOWNLOAD_RESUME:
      return name + " is shorter than what was read of it";
    case CURLE_FTP_COULDNT_USE_REST:
      return name + " can't be read on from where it was left: " + said;
    case CURLE_FTP_ACCEPT_FAILED:
    case CURLE_FTP_ACCEPT_TIMEOUT:
    case CURLE_FTP_PORT_FAILED:
      return "the server can't open a data connection to this machine; try FTPPassive=True";
    case CURLE_USE_SSL_FAILED:
      return "the server offers no encryption; write the host without ftps:// to do without";
    case CURLE_PEER_FAILED_VERIFICATION:
      return CertificateText(code);
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_ABORTED_BY_CALLBACK:
      return TimeOutText();
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
      return "the connection broke off";
    default:
      return dialogue_.Code() >= 400 ? "the server said no: " + words : CurlText(code);
  }
}

// libcurl's own text says how long the attempt took, so that no two would be alike.
std::string FtpTransfer::NoConnectionText(CURLcode code) const {
  long error = 0;
  curl_easy_getinfo(curl_, CURLINFO_OS_ERRNO, &error);
  return Lower(error == 0 ? curl_easy_strerror(code) : std::system_category().message(static_cast<int>(error)));
}

std::string FtpTransfer::CurlText(CURLcode code) const {
  std::string_view text = error_[0] ? error_ : curl_easy_strerror(code);
  if (StartsWith(text, "SSL certificate problem: ")) text.remove_prefix(25);
  return ToOneLine(text.substr(0, 200));
}

}  // namespace

FtpPeer::FtpPeer(FtpServer s, FtpLogon l, FtpLimits t, FtpTrust files)
    : server(std::move(s)), logon(std::move(l)), limits(t), trust(std::move(files)) {}

// libcurl waits for the answer to the good-bye for a minute and has no option for that, so nobody listens any more.
void FtpPeer::Close() {
  if (!curl) return;
  CURL* const handle = static_cast<CURL*>(std::exchange(curl, nullptr));
  curl_socket_t socket = CURL_SOCKET_BAD;
  if (curl_easy_getinfo(handle, CURLINFO_ACTIVESOCKET, &socket) == CURLE_OK && socket != CURL_SOCKET_BAD) {
    (void)::shutdown(socket, SHUT_RD);
  }
  curl_easy_cleanup(handle);
}

void RunFtpJob(FtpPeer& peer, const FtpJob& job, FtpNotes& notes, FtpNote& last) {
  if (!peer.curl) peer.curl = curl_easy_init();
  if (!peer.curl) {
    last.status = Status::Error(Fail::kIo, peer.server.Place() + ": not enough memory");
    return;
  }
  FtpTransfer(peer, job, notes).Run(last);
}

}  // namespace vantry
