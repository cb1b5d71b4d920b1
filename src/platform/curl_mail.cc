#include "platform/curl_mail.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <sys/eventfd.h>

#include "core/text_encoding.h"
#include "platform/curl_support.h"

namespace vantry {
namespace {

using std::chrono::milliseconds;

// Beyond its own limit, for a file system that hangs under an attachment.
constexpr milliseconds kGrace{10'000};
constexpr char kTimeIsUp[] = "the time for sending mail is up";

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

CurlMail::Shared::Shared() : event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

CurlMail::CurlMail(MailLimits limits)
    : limits_(limits), authorities_(SystemAuthorities()), notifier_(shared_->event.get(), QSocketNotifier::Read) {
  StartCurl();
  QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [shared = shared_] {
    eventfd_t count = 0;
    (void)::eventfd_read(shared->event.get(), &count);
    std::vector<std::shared_ptr<Listener>> taken;
    {
      const std::lock_guard lock(shared->mutex);
      taken.swap(shared->some_wait);
    }
    for (const auto& listener : taken) listener->Tell();
  });
}

void CurlMail::Listener::Tell() {
  std::vector<std::pair<bool, std::string>> taken;
  {
    const std::lock_guard lock(mutex);
    taken.swap(waiting);
  }
  for (const auto& [sent, text] : taken) {
    if (line) line(sent, text);
  }
}

// Called by the thread of a mail. A server that talks without end is not listed without end.
SmtpDialogue::Told CurlMail::TellLines(const std::shared_ptr<Listener>& listener) const {
  return [listener, shared = shared_](bool sent, std::string text) {
    {
      const std::lock_guard lock(listener->mutex);
      if (listener->seen >= Listener::kMost) return;
      ++listener->seen;
      listener->waiting.emplace_back(sent, std::move(text));
    }
    {
      const std::lock_guard lock(shared->mutex);
      shared->some_wait.push_back(listener);
    }
    (void)::eventfd_write(shared->event.get(), 1);
  };
}

uint64_t CurlMail::Send(MailMessage message, MailDone done, MailLine line) {
  auto work = std::make_shared<MailWork>();
  auto listener = std::make_shared<Listener>();
  listener->line = std::move(line);
  listener->done = std::move(done);
  if (listener->line) work->job.told = TellLines(listener);
  SmtpJob& job = work->job;
  Status status = Attempt([&] { return Prepare(std::move(message), job); });
  if (status.ok() && !workers_.TimeIsUp() && workers_.Running() >= kMostAtOnce) {
    status = Status::Error(Fail::kIo,
                           job.server.Place() + ": " + std::to_string(kMostAtOnce) + " mails are under way already");
  }
  const bool fit = status.ok();
  if (!fit) job.result = std::move(status);
  const auto number = std::make_shared<uint64_t>(0);
  *number = workers_.Start(fit ? work : nullptr, milliseconds(limits_.total) + kGrace, [=, this](WorkEnd end) {
    listeners_.erase(*number);
    listener->Tell();
    listener->line = nullptr;
    if (const MailDone told = std::exchange(listener->done, nullptr)) told(OutcomeOf(work->job, end));
  });
  listeners_[*number] = listener;
  return *number;
}

// The end may be on its way to the loop already.
void CurlMail::Forget(uint64_t number) {
  const auto it = listeners_.find(number);
  if (it == listeners_.end()) return;
  it->second->line = nullptr;
  it->second->done = nullptr;
  listeners_.erase(it);
  workers_.Forget(number);
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

MailOutcome CurlMail::OutcomeOf(const SmtpJob& job, WorkEnd end) const {
  MailOutcome outcome;
  if (end == WorkEnd::kDone) {
    outcome.status = job.result;
    outcome.temporary = job.temporary;
    if (!job.taken.empty()) outcome.lines.push_back(job.taken);
  } else {
    // A thread whose time is up ends within a second, unless it hangs in a file system under the attachment.
    const char* const late = workers_.TimeIsUp() ? kTimeIsUp : "the mail could not be sent in time";
    outcome.status = NoOutcome(end, job.server.Place(), late);
  }
  if (!outcome.status.ok()) outcome.lines.push_back(outcome.status.text);
  return outcome;
}

void CurlMail::Finish(int64_t ms) {
  workers_.Finish(milliseconds(std::clamp<int64_t>(ms, 0, 1'000'000'000)));
}

}  // namespace vantry
