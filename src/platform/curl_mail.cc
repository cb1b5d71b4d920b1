#include "platform/curl_mail.h"

#include <QTimer>
#include <algorithm>
#include <cstdlib>
#include <system_error>

#include <curl/curl.h>
#include <signal.h>
#include <sys/eventfd.h>

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Beyond its own limit, for a file system that hangs under an attachment.
constexpr milliseconds kGrace{10'000};

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// What can't be an address must not reach a command of the server's.
bool CanBeSaid(const std::string& address) {
  return address.size() <= 1'000 && std::none_of(address.begin(), address.end(), [](unsigned char c) {
           return c <= ' ' || c == 0x7F || c == '<' || c == '>';
         });
}

bool IsOneLine(const std::string& header) {
  return header.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
}

}  // namespace

// libcurl is never cleaned up: a name look-up that was given up may still be running.
CurlMail::CurlMail(MailLimits limits)
    : limits_(limits),
      authorities_{Environment("SSL_CERT_FILE"), Environment("SSL_CERT_DIR")},
      ended_fd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      ended_notifier_(ended_fd_.get(), QSocketNotifier::Read) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  QObject::connect(&ended_notifier_, &QSocketNotifier::activated, &ended_notifier_, [this] {
    eventfd_t count = 0;
    (void)::eventfd_read(ended_fd_.get(), &count);
    Wake();
  });
}

CurlMail::~CurlMail() {
  for (const auto& worker : workers_) worker->job->cancelled = true;
  for (const auto& worker : workers_) {
    if (worker->thread.joinable()) worker->thread.join();
  }
}

Status CurlMail::Send(const MailMessage& message, const std::function<void(std::string_view)>& status) {
  const auto job = std::make_shared<SmtpJob>();
  std::shared_ptr<Worker> worker;
  Status result = Attempt([&] { return Prepare(message, *job); });
  if (result.ok()) result = Attempt([&] { return Start(job, worker); });
  if (result.ok()) {
    WaitUntil([&] { return Done(*worker); }, steady_clock::now() + milliseconds(limits_.total) + kGrace);
    if (Done(*worker)) {
      result = job->result;
      if (status && !job->taken.empty()) status(job->taken);
    } else {
      job->cancelled = true;
      const char* why = TimeIsUp() ? ": the time for sending mail is up" : ": the mail could not be sent in time";
      result = Status::Error(Fail::kIo, job->server.Place() + why);
    }
  }
  if (status && !result.ok()) status(result.text);
  return result;
}

Status CurlMail::Prepare(const MailMessage& message, SmtpJob& job) {
  if (Status read = ReadMailServer(message.server, job.server); !read.ok()) return read;
  const auto bad = [&job](const std::string& text) {
    return Status::Error(Fail::kBadData, job.server.Place() + ": " + text);
  };
  if (message.recipients.empty()) return bad("the mail has no recipient");
  for (const std::string& address : message.recipients) {
    if (address.empty() || !CanBeSaid(address)) return bad("'" + ToOneLine(address) + "' is no address");
  }
  if (!CanBeSaid(message.sender)) return bad("'" + ToOneLine(message.sender) + "' is no address");
  if (!std::all_of(message.headers.begin(), message.headers.end(), IsOneLine)) return bad("a header is no single line");
  job.message = message;
  job.limits = limits_;
  job.authorities = authorities_;
  if (Status opened = job.text.Open(message); !opened.ok()) return bad(opened.text);
  job.message.body.clear();  // In the text now.
  return Status::Ok();
}

Status CurlMail::Start(const std::shared_ptr<SmtpJob>& job, std::shared_ptr<Worker>& worker) {
  const std::string place = job->server.Place() + ": ";
  if (TimeIsUp()) return Status::Error(Fail::kIo, place + "the time for sending mail is up");
  Reap();
  if (workers_.size() >= kMostAtOnce) {
    return Status::Error(Fail::kIo, place + std::to_string(kMostAtOnce) + " mails are under way already");
  }
  worker = std::make_shared<Worker>();
  worker->job = job;
  workers_.push_back(worker);
  try {
    worker->thread = std::thread([this, w = worker.get()] { Work(*w); });
  } catch (const std::system_error& e) {
    workers_.remove(worker);
    return Status::Error(Fail::kIo, place + e.what());
  }
  return Status::Ok();
}

// In a thread of its own. Signals are for the thread that turns the loop, and a connection that breaks raises none
// here.
void CurlMail::Work(Worker& worker) {
  sigset_t all;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
  RunSmtpJob(*worker.job);
  {
    const std::lock_guard lock(mutex_);
    worker.done = true;
    ++ended_;
  }
  finished_.notify_all();
  (void)::eventfd_write(ended_fd_.get(), 1);
}

bool CurlMail::Done(const Worker& worker) {
  const std::lock_guard lock(mutex_);
  return worker.done;
}

uint64_t CurlMail::Ended() {
  const std::lock_guard lock(mutex_);
  return ended_;
}

bool CurlMail::AllDone() {
  return std::all_of(workers_.begin(), workers_.end(), [this](const auto& worker) { return Done(*worker); });
}

// Lets go of the threads that have done their work.
void CurlMail::Reap() {
  workers_.remove_if([this](const std::shared_ptr<Worker>& worker) {
    if (!Done(*worker)) return false;
    worker->thread.join();
    return true;
  });
}

void CurlMail::SetTimeLeft(int64_t ms) {
  end_ = steady_clock::now() + milliseconds(std::clamp<int64_t>(ms, 0, 1'000'000'000));
  Wake();
}

void CurlMail::WaitForAll() {
  WaitUntil([this] { return AllDone(); }, std::nullopt);
  if (!TimeIsUp()) return;
  for (const auto& worker : workers_) worker->job->cancelled = true;
}

// Everybody who waits looks again.
void CurlMail::Wake() {
  for (QEventLoop* loop : waiting_) loop->quit();
}

// Turns the loop until this holds, the limit is reached, or the time left is up.
void CurlMail::WaitUntil(const std::function<bool()>& holds, std::optional<Time> limit) {
  for (;;) {
    const uint64_t seen = Ended();
    if (holds()) return;
    const std::optional<Time> until = limit && end_ ? std::min(*limit, *end_) : limit ? limit : end_;
    const auto now = steady_clock::now();
    if (until && now >= *until) return;
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &loop, [&loop] { loop.quit(); });
    if (until) timer.start(std::chrono::ceil<milliseconds>(*until - now));
    waiting_.push_back(&loop);
    const int code = loop.exec();
    waiting_.pop_back();
    if (code >= 0) continue;
    // The application's loop has been ended, so this one does not turn. Workers end by their own limits.
    std::unique_lock lock(mutex_);
    finished_.wait_until(lock, until.value_or(now + milliseconds(limits_.total)), [&] { return ended_ != seen; });
  }
}

}  // namespace vantry
