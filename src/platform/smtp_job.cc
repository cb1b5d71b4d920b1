#include "platform/smtp_job.h"

#include <chrono>
#include <memory>

#include "core/text.h"

namespace vantry {
namespace {

constexpr int kQuitMs = 2'000;     // The mail is accepted or refused by then; a good-bye is only polite.
constexpr size_t kMostNamed = 10;  // Refused recipients in one text.

class Transfer {
 public:
  explicit Transfer(SmtpJob& job) : job_(job), dialogue_({job.message.password}, job.told) {}
  void Run();

 private:
  using Time = std::chrono::steady_clock::time_point;
  template <class T>
  void Set(CURLoption option, T value) {
    curl_.Set(option, value);
  }
  void SetUp();
  void SetUpSafety();
  void SetUpDialogue();
  int MsSince(Time begin) const {
    return static_cast<int>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin).count());
  }
  bool GoesOn() const;
  size_t Reply(std::string_view line);
  size_t Fill(char* bytes, size_t size);
  void Finish(CURLcode code);
  std::string FailureText(CURLcode code) const;
  std::string TimeOutText() const;
  std::string RefusedText() const;
  std::string RefusalsText() const;
  std::string TakenText() const;

  SmtpJob& job_;
  SmtpDialogue dialogue_;
  std::unique_ptr<curl_slist, CurlFreed> recipients_;  // Outlives the handle.
  CurlHandle curl_;
  Time begin_ = std::chrono::steady_clock::now();
  Time asked_ = begin_;           // When the last command went out.
  bool waits_ = false;            // For the answer to it.
  bool offered_in_vain_ = false;  // The server offers encryption and then refuses it.
};

void Transfer::SetUp() {
  const MailServer& server = job_.server;
  Set(CURLOPT_URL, ((server.encrypted ? "smtps://" : "smtp://") + server.Place()).c_str());
  Set(CURLOPT_PROTOCOLS_STR, "smtp,smtps");
  Set(CURLOPT_PROXY, "");  // Those of the environment are for the web.
  Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(job_.limits.connect));
  Set(CURLOPT_TIMEOUT_MS, static_cast<long>(job_.limits.total));
  Set(CURLOPT_FORBID_REUSE, 1L);  // Ends the connection while the limits below still apply.
  Set(CURLOPT_MAIL_FROM, job_.message.sender.c_str());
  for (const std::string& recipient : job_.message.recipients) {
    curl_slist* longer = curl_slist_append(recipients_.get(), recipient.c_str());
    if (!longer) curl_.NotSet();
    if (longer && !recipients_) recipients_.reset(longer);
  }
  Set(CURLOPT_MAIL_RCPT, recipients_.get());
  Set(CURLOPT_MAIL_RCPT_ALLLOWFAILS, 1L);
  Set(CURLOPT_UPLOAD, 1L);
}

// Encryption wherever it is offered. Only a login or an "smtps:" makes it matter who is at the other end.
void Transfer::SetUpSafety() {
  const bool login = !job_.message.user.empty();
  const bool checked = login || job_.server.encrypted;
  Set(CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_TRY));
  if (checked) {
    curl_.CheckCertificate(job_.authorities);
  } else {
    Set(CURLOPT_SSL_VERIFYPEER, 0L);
    Set(CURLOPT_SSL_VERIFYHOST, 0L);
    Set(CURLOPT_CAINFO, static_cast<char*>(nullptr));
    Set(CURLOPT_CAPATH, static_cast<char*>(nullptr));
  }
  if (!login) return;
  Set(CURLOPT_USERNAME, job_.message.user.c_str());
  Set(CURLOPT_PASSWORD, job_.message.password.c_str());
}

void Transfer::SetUpDialogue() {
  Set(CURLOPT_VERBOSE, 1L);
  Set(CURLOPT_DEBUGDATA, this);
  Set(
      CURLOPT_DEBUGFUNCTION, +[](CURL*, curl_infotype type, char* bytes, size_t size, void* self) {
        auto& t = *static_cast<Transfer*>(self);
        if (type != CURLINFO_HEADER_OUT) return 0;
        t.dialogue_.Sent({bytes, size});
        t.asked_ = std::chrono::steady_clock::now();
        t.waits_ = true;
        return 0;
      });
  Set(CURLOPT_HEADERDATA, this);
  Set(
      CURLOPT_HEADERFUNCTION, +[](char* bytes, size_t, size_t size, void* self) {
        return static_cast<Transfer*>(self)->Reply({bytes, size});
      });
  Set(CURLOPT_READDATA, this);
  Set(
      CURLOPT_READFUNCTION,
      +[](char* bytes, size_t, size_t size, void* self) { return static_cast<Transfer*>(self)->Fill(bytes, size); });
  Set(CURLOPT_NOPROGRESS, 0L);
  Set(CURLOPT_XFERINFODATA, this);
  Set(
      CURLOPT_XFERINFOFUNCTION, +[](void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
        return static_cast<Transfer*>(self)->GoesOn() ? 0 : 1;
      });
}

bool Transfer::GoesOn() const {
  if (job_.cancelled) return false;
  if (dialogue_.Over()) return MsSince(asked_) < std::min(kQuitMs, job_.limits.reply);
  return !waits_ || MsSince(asked_) < job_.limits.reply;
}

size_t Transfer::Reply(std::string_view line) {
  if (!dialogue_.Received(line)) return line.size();
  waits_ = false;
  // The login would go on in clear, as if encryption had never been offered.
  offered_in_vain_ = dialogue_.Command() == "STARTTLS" && dialogue_.Code() != 220 && !job_.message.user.empty();
  return offered_in_vain_ ? 0 : line.size();
}

size_t Transfer::Fill(char* bytes, size_t size) {
  const ssize_t count = job_.text.Read(bytes, size);
  return count < 0 ? CURL_READFUNC_ABORT : static_cast<size_t>(count);
}

void Transfer::Run() {
  SetUp();
  SetUpSafety();
  SetUpDialogue();
  Finish(curl_.Perform());
}

void Transfer::Finish(CURLcode code) {
  const std::string place = job_.server.Place() + ": ";
  if (dialogue_.Taken()) {
    job_.taken = job_.server.Place() + " took the mail for " + TakenText();
    if (!dialogue_.Refusals().empty()) job_.result = Status::Error(Fail::kRefused, place + RefusalsText());
  } else if (dialogue_.Code() >= 400) {
    job_.result = Status::Error(Fail::kRefused, place + RefusedText());
    job_.temporary = dialogue_.Code() < 500;
  } else {
    job_.result = Status::Error(Fail::kIo, place + FailureText(code));
  }
}

std::string Transfer::TakenText() const {
  std::string names;
  auto refusal = dialogue_.Refusals().begin();
  for (size_t i = 0; i < job_.message.recipients.size(); ++i) {
    if (refusal != dialogue_.Refusals().end() && refusal->recipient == i) {
      ++refusal;
    } else {
      names += (names.empty() ? "" : ", ") + job_.message.recipients[i];
    }
  }
  return names + ": " + dialogue_.TakenWords();
}

std::string Transfer::RefusalsText() const {
  std::string text;
  const auto& refusals = dialogue_.Refusals();
  for (size_t i = 0; i < refusals.size() && i < kMostNamed; ++i) {
    text += (i == 0 ? "" : "; ") + refusals[i].words + " <" + job_.message.recipients.at(refusals[i].recipient) + ">";
  }
  if (refusals.size() > kMostNamed) text += "; and " + std::to_string(refusals.size() - kMostNamed) + " more";
  return text;
}

std::string Transfer::RefusedText() const {
  const std::string& command = dialogue_.Command();
  if (command == "RCPT") return RefusalsText();
  if (command == "AUTH") return "the login was refused: " + dialogue_.Words();
  if (command == "STARTTLS") return "encryption was refused, so there was no login: " + dialogue_.Words();
  if (command == "MAIL") return dialogue_.Words() + " <" + job_.message.sender + ">";
  return dialogue_.Words();
}

std::string Transfer::TimeOutText() const {
  if (MsSince(begin_) >= job_.limits.total) return "the mail was not sent within " + SpanText(job_.limits.total);
  if (std::string step = curl_.StepText(job_.limits.connect); !step.empty()) return step;
  return "the server did not answer within " + SpanText(waits_ ? job_.limits.reply : job_.limits.connect);
}

std::string Transfer::FailureText(CURLcode code) const {
  if (std::string text = curl_.ConnectText(code, job_.authorities); !text.empty()) return text;
  switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
      return TimeOutText();
    case CURLE_ABORTED_BY_CALLBACK:
      if (!job_.text.Problem().empty()) return job_.text.Problem();
      return job_.cancelled ? "the time for sending mail is up" : TimeOutText();
    case CURLE_OK:
    case CURLE_GOT_NOTHING:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
      return "the connection broke off";
    default:
      return curl_.Text(code);
  }
}

}  // namespace

void RunSmtpJob(SmtpJob& job) {
  const Status status = Attempt([&job] {
    Transfer(job).Run();
    return Status::Ok();
  });
  if (!status.ok()) job.result = Status::Error(status.fail, job.server.Place() + ": " + status.text);
}

}  // namespace vantry
