#include "platform/curl_ftp.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <optional>
#include <system_error>
#include <utility>

#include <curl/curl.h>
#include <signal.h>
#include <sys/eventfd.h>

namespace vantry {
namespace {

constexpr std::chrono::milliseconds kAtOnce{5};  // Then others on the loop have their turn.

std::string FromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// Signals are for the thread that turns the loop, and a connection that breaks raises none here.
void BlockSignals() {
  sigset_t all;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

}  // namespace

class CurlFtp::Client final : public FtpClient {
 public:
  Client(CurlFtp& owner, FtpEvents& events) : owner_(owner), events_(events) { owner_.clients_.push_back(this); }
  ~Client() override {
    LogOff();
    owner_.clients_.remove(this);
  }

  bool Connected() const override { return connected_; }
  bool Idle() const override { return !busy_; }
  const std::string& LastReply() const override { return last_reply_; }

  void LogOn(const FtpLogon& logon) override;
  void Size(const std::string& folder, const std::string& name) override {
    last_reply_.clear();
    Start({FtpJob::Kind::kSize, {folder, name, 0, 0}, {}});
  }
  void List(const std::string& folder) override { Start({FtpJob::Kind::kList, {folder, {}, 0, 0}, {}}); }
  void Help() override { Start({FtpJob::Kind::kHelp, {}, {}}); }
  void Download(const FtpDownload& download) override { Start({FtpJob::Kind::kDownload, download, {}}); }
  void LogOff() override;

  // Tells the next thing. False when there is nothing, or not now.
  bool TellNext(bool& later);

 private:
  void Start(FtpJob job);
  void Fail(const Status& status);
  void Tell(const FtpNote& note);
  std::optional<Status> Unsayable(const FtpJob& job) const;

  CurlFtp& owner_;
  FtpEvents& events_;
  std::shared_ptr<FtpSession> session_;
  std::thread thread_;
  FtpJob::Kind kind_ = FtpJob::Kind::kLogOn;
  FtpServer server_;
  bool busy_ = false, connected_ = false;
  std::string last_reply_;
};

void CurlFtp::Client::LogOn(const FtpLogon& logon) {
  if (busy_) return;
  LogOff();
  Status status = ReadFtpServer(logon.server, server_);
  if (status.ok() && (!CanBeSaidInFtp(logon.user) || !CanBeSaidInFtp(logon.password))) {
    status = Status::Error(Fail::kBadData, server_.Place() +
                                               ": the login holds a line end or another control character; check "
                                               "FTPUserName and FTPPassword");
  }
  FtpLimits limits = owner_.limits_;
  if (logon.patience_s > 0) limits.connect = limits.reply = logon.patience_s * 1'000;
  session_ = std::make_shared<FtpSession>(server_, logon, limits, owner_.trust_, [&owner = owner_] { owner.Wake(); });
  if (status.ok()) return Start({});
  kind_ = FtpJob::Kind::kLogOn;
  busy_ = true;
  Fail(status);
}

// Told later, as everything is.
void CurlFtp::Client::Fail(const Status& status) {
  FtpNote note;
  note.kind = FtpNote::Kind::kDone;
  note.status = status;
  note.connected = connected_;
  session_->Push(std::move(note));
}

std::optional<Status> CurlFtp::Client::Unsayable(const FtpJob& job) const {
  const bool folder = CanBeSaidInFtp(job.file.folder);
  if (folder && CanBeSaidInFtp(job.file.name)) return std::nullopt;
  return Status::Error(Fail::kBadData, server_.Place() + ": the name of the " + (folder ? "file" : "folder") +
                                           " holds a line end or another control character; check " +
                                           (folder ? "Mask" : "FTPPath"));
}

void CurlFtp::Client::Start(FtpJob job) {
  if (busy_ || !session_) return;
  if (thread_.joinable()) thread_.join();  // It has told its last.
  busy_ = true;
  kind_ = job.kind;
  job.now = owner_.clock_.Now();
  if (const auto unsayable = Unsayable(job)) return Fail(*unsayable);
  try {
    thread_ = std::thread([session = session_, job = std::move(job)] {
      BlockSignals();
      session->Run(job);
    });
  } catch (const std::system_error& e) {
    Fail(Status::Error(Fail::kIo, server_.Place() + ": " + e.what()));
  }
}

void CurlFtp::Client::LogOff() {
  if (!session_) return;
  if (busy_) session_->Cancel();
  if (connected_ || busy_) {
    owner_.Leave(session_, std::move(thread_));
  } else if (thread_.joinable()) {
    thread_.join();
  }
  session_.reset();
  thread_ = {};
  busy_ = connected_ = false;
}

bool CurlFtp::Client::TellNext(bool& later) {
  if (!session_) return false;
  if (!events_.TakesEvents()) {
    later = later || busy_;
    return false;
  }
  auto note = session_->Take();
  if (!note) return false;
  Tell(*note);
  return true;
}

void CurlFtp::Client::Tell(const FtpNote& note) {
  switch (note.kind) {
    case FtpNote::Kind::kTrail:
      return events_.ProtocolTrail(note.trail, note.text);
    case FtpNote::Kind::kEntry:
      return events_.DirectoryEntry(note.entry);
    case FtpNote::Kind::kStart:
      return events_.StartOfTransfer();
    case FtpNote::Kind::kChunk:
      return events_.Transfer(note.count, note.text);
    case FtpNote::Kind::kDone:
      break;
  }
  busy_ = false;
  connected_ = note.connected;
  if (kind_ == FtpJob::Kind::kSize) last_reply_ = note.text;
  if (kind_ != FtpJob::Kind::kDownload) return events_.Done(note.status);
  if (note.status.ok()) return events_.EndOfTransfer();
  events_.Error(note.code, note.status);
}

CurlFtp::CurlFtp(const Clock& clock, FtpLimits limits)
    : clock_(clock),
      limits_(limits),
      trust_{FromEnvironment("SSL_CERT_FILE"), FromEnvironment("SSL_CERT_DIR"),
             FromEnvironment("HOME") + "/.ssh/known_hosts"},
      wake_fd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      wake_notifier_(wake_fd_.get(), QSocketNotifier::Read) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  QObject::connect(&wake_notifier_, &QSocketNotifier::activated, &wake_notifier_, [this] { Deliver(); });
  again_timer_.setSingleShot(true);
  again_timer_.setInterval(kAskAgainMs);
  QObject::connect(&again_timer_, &QTimer::timeout, &again_timer_, [this] { Deliver(); });
}

CurlFtp::~CurlFtp() {
  for (Leaving& leaving : leaving_) leaving.session->Cancel();
  for (Leaving& leaving : leaving_) leaving.thread.join();
}

std::unique_ptr<FtpClient> CurlFtp::NewClient(FtpEvents& events) {
  return std::make_unique<Client>(*this, events);
}

void CurlFtp::Wake() {
  (void)::eventfd_write(wake_fd_.get(), 1);
}

bool CurlFtp::Has(const Client* client) const {
  return std::find(clients_.begin(), clients_.end(), client) != clients_.end();
}

// One thing of each client in turn, so that none waits for another's long file. Events may end clients.
void CurlFtp::Deliver() {
  if (delivering_) return;
  delivering_ = true;
  eventfd_t count = 0;
  (void)::eventfd_read(wake_fd_.get(), &count);
  const auto end = std::chrono::steady_clock::now() + kAtOnce;
  bool some = true, later = false;
  while (some && std::chrono::steady_clock::now() < end) {
    some = false;
    for (Client* client : std::vector<Client*>(clients_.begin(), clients_.end())) {
      if (Has(client) && client->TellNext(later)) some = true;
    }
  }
  delivering_ = false;
  if (some) Wake();
  if (later) again_timer_.start();
  Reap();
}

// A thread that was cancelled may take a second.
void CurlFtp::Leave(const std::shared_ptr<FtpSession>& session, std::thread thread) {
  auto over = std::make_shared<std::atomic<bool>>(false);
  auto before = std::make_shared<std::thread>(std::move(thread));
  Leaving& leaving = leaving_.emplace_back();
  leaving.session = session;
  leaving.over = over;
  leaving.thread = std::thread([session, before, over, this] {
    BlockSignals();
    if (before->joinable()) before->join();
    session->Close();
    *over = true;
    Wake();
  });
}

void CurlFtp::Reap() {
  leaving_.remove_if([](Leaving& leaving) {
    if (!*leaving.over) return false;
    leaving.thread.join();
    return true;
  });
}

}  // namespace vantry
