#include "platform/curl_mail.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>
#include <utility>

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
constexpr milliseconds kGrace{10'000}, kLimitCheck{1'000};
constexpr char kTimeIsUp[] = "the time for sending mail is up";

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
      through_fd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      through_notifier_(through_fd_.get(), QSocketNotifier::Read) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  QObject::connect(&through_notifier_, &QSocketNotifier::activated, &through_notifier_, [this] {
    eventfd_t count = 0;
    (void)::eventfd_read(through_fd_.get(), &count);
    TellOutcomes();
  });
  limit_timer_.setInterval(kLimitCheck);
  QObject::connect(&limit_timer_, &QTimer::timeout, &limit_timer_, [this] { TellOutcomes(); });
}

CurlMail::~CurlMail() {
  for (const auto& worker : workers_) worker->job->cancelled = true;
  for (const auto& worker : workers_) {
    if (worker->thread.joinable()) worker->thread.join();
  }
}

void CurlMail::Send(MailMessage message, MailDone done) {
  Reap();
  const auto worker = std::make_shared<Worker>();
  worker->job = std::make_shared<SmtpJob>();
  worker->done = std::move(done);
  Status status = Attempt([&] { return Prepare(std::move(message), *worker->job); });
  workers_.push_back(worker);
  if (status.ok()) status = Start(*worker);
  if (status.ok()) return;
  worker->job->result = std::move(status);
  MarkThrough(*worker);
}

Status CurlMail::Prepare(MailMessage message, SmtpJob& job) {
  if (Status read = ReadMailServer(message.server, job.server); !read.ok()) return read;
  const auto bad = [&job](const std::string& text) {
    return Status::Error(Fail::kBadData, job.server.Place() + ": " + text);
  };
  if (message.recipients.empty()) return bad("the mail has no recipient");
  for (const std::string& address : message.recipients) {
    if (address.empty() || !CanBeSaid(address)) return bad("'" + ToOneLine(address) + "' is not an address");
  }
  if (!CanBeSaid(message.sender)) return bad("'" + ToOneLine(message.sender) + "' is not an address");
  if (!std::all_of(message.headers.begin(), message.headers.end(), IsOneLine))
    return bad("a header is not a single line");
  job.limits = limits_;
  job.authorities = authorities_;
  if (Status opened = job.text.Open(message); !opened.ok()) return bad(opened.text);
  message.body.clear();  // In the text now.
  job.message = std::move(message);
  return Status::Ok();
}

Status CurlMail::Start(Worker& worker) {
  const std::string place = worker.job->server.Place() + ": ";
  if (TimeIsUp()) return Status::Error(Fail::kIo, place + kTimeIsUp);
  if (workers_.size() > kMostAtOnce) {
    return Status::Error(Fail::kIo, place + std::to_string(kMostAtOnce) + " mails are under way already");
  }
  worker.limit = steady_clock::now() + milliseconds(limits_.total) + kGrace;
  if (!limit_timer_.isActive()) limit_timer_.start();
  try {
    worker.thread = std::thread([this, &worker] { Work(worker); });
  } catch (const std::system_error& e) {
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
  MarkThrough(worker);
}

void CurlMail::MarkThrough(Worker& worker) {
  {
    const std::lock_guard lock(mutex_);
    worker.through = true;
  }
  some_through_.notify_all();
  (void)::eventfd_write(through_fd_.get(), 1);
}

bool CurlMail::Through(const Worker& worker) {
  const std::lock_guard lock(mutex_);
  return worker.through;
}

bool CurlMail::AllTold() const {
  return std::none_of(workers_.begin(), workers_.end(), [](const auto& worker) { return worker->done; });
}

// The first that is through, or for which nobody waits any longer.
std::shared_ptr<CurlMail::Worker> CurlMail::NextToTell() {
  const bool time_is_up = TimeIsUp();
  const auto now = steady_clock::now();
  const auto next = std::find_if(workers_.begin(), workers_.end(), [&](const auto& worker) {
    return worker->done && (Through(*worker) || time_is_up || now >= worker->limit);
  });
  return next == workers_.end() ? nullptr : *next;
}

// Looks from the start each time: `done` may send further mails, or turn the loop, in which others are told.
void CurlMail::TellOutcomes() {
  while (const auto worker = NextToTell()) Tell(*worker);
  Reap();
  if (AllTold()) limit_timer_.stop();
}

void CurlMail::Tell(Worker& worker) {
  SmtpJob& job = *worker.job;
  MailOutcome outcome;
  if (Through(worker)) {
    outcome.status = job.result;
    outcome.temporary = job.temporary;
    if (!job.taken.empty()) outcome.lines.push_back(job.taken);
  } else {
    // Its thread ends within a second, unless it hangs in a file system under the attachment.
    job.cancelled = true;
    const std::string why = TimeIsUp() ? kTimeIsUp : "the mail could not be sent in time";
    outcome.status = Status::Error(Fail::kIo, job.server.Place() + ": " + why);
  }
  if (!outcome.status.ok()) outcome.lines.push_back(outcome.status.text);
  std::exchange(worker.done, nullptr)(outcome);
}

// Lets go of the threads that have done their work.
void CurlMail::Reap() {
  workers_.remove_if([this](const std::shared_ptr<Worker>& worker) {
    if (worker->done || !Through(*worker)) return false;
    if (worker->thread.joinable()) worker->thread.join();
    return true;
  });
}

void CurlMail::Finish(int64_t ms) {
  end_ = steady_clock::now() + milliseconds(std::clamp<int64_t>(ms, 0, 1'000'000'000));
  for (;;) {
    TellOutcomes();
    if (AllTold()) return;
    std::unique_lock lock(mutex_);
    some_through_.wait_until(lock, *end_, [this] {
      return std::any_of(workers_.begin(), workers_.end(), [](const auto& w) { return w->done && w->through; });
    });
  }
}

}  // namespace vantry
