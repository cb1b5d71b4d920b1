#include "ctl/hand_over.h"

#include <chrono>
#include <thread>

#include <sys/stat.h>

#include "core/screen_text.h"
#include "core/text.h"
#include "platform/system_random.h"

namespace vantry {
namespace {

// Scans take turns with this: the program is seldom busy for long, but for the first scan of a large log.
constexpr std::chrono::seconds kMostWait{60};
constexpr std::chrono::milliseconds kRetry{50};

Status MakeToken(std::string& token) {
  std::string bytes;
  if (Status status = SystemRandom().Draw(kTokenSize / 2, bytes); !status.ok()) return status;
  constexpr char kHex[] = "0123456789abcdef";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    token += kHex[byte >> 4];
    token += kHex[byte & 15];
  }
  return Status::Ok();
}

// The request may hold a password: nobody but its writer reads it.
class RequestFile {
 public:
  RequestFile(Files& files, std::string path) : files_(files), path_(std::move(path)) {}
  ~RequestFile() { (void)files_.Remove(path_); }
  RequestFile(const RequestFile&) = delete;
  RequestFile& operator=(const RequestFile&) = delete;

  Status Write(const EditRequest& request) {
    const mode_t before = ::umask(077);
    Status status = files_.Replace(path_, FormatRequest(request));
    ::umask(before);
    return status;
  }
  bool Exists() { return files_.Exists(path_); }

 private:
  Files& files_;
  std::string path_;
};

Status Unchanged(std::string text) {
  return Status::Error(Fail::kRefused, std::move(text) + " Nothing was changed.");
}

// Why there is no answer to the second line, when there was one to the first.
Status NoAnswer(const Endpoint& endpoint, RequestFile& file, const Status& status) {
  if (!file.Exists()) {
    return Status::Error(Fail::kIo, status.text + " Vantry has taken the change, but did not say what became of it.");
  }
  return Unchanged("The Vantry at " + endpoint.Name() +
                   " does not know this command; it may be an older one. Stop it first: `vantryctl stop`.");
}

}  // namespace

HandedOver ReadEditReply(std::string_view reply, Status& status, std::string& told) {
  if (StartsWith(reply, "BUSY ")) {
    status = Unchanged(Printable(reply.substr(5)) + ". Try again later.");
    return HandedOver::kBusy;
  }
  if (StartsWith(reply, "OK ")) {
    told = Printable(reply.substr(3));
    status = Status::Ok();
    return HandedOver::kDone;
  }
  status = StartsWith(reply, "ERROR ")
               ? Status::Error(Fail::kRefused, Printable(reply.substr(6)))
               : Status::Error(Fail::kBadData, "The answer makes no sense: '" + FitTo(Printable(reply), 80) + "'.");
  return HandedOver::kFailed;
}

Status HandOver(Files& files, const std::string& home, const Endpoint& endpoint, const EditRequest& request,
                std::string& told) {
  std::string token;
  if (Status status = MakeToken(token); !status.ok()) return status;
  RequestFile file(files, home + kRequestFile + token);
  if (Status status = file.Write(request); !status.ok()) return status;
  const auto end = std::chrono::steady_clock::now() + kMostWait;
  for (;;) {
    std::vector<std::string> replies;
    Status status = AskControl(endpoint, {"@HELLO", "@EDIT " + token}, replies);
    const bool greeted = replies.size() > 1;  // The second line was sent.
    if (!greeted) return Unchanged(status.text + " Vantry runs, so it must be told there; or stop it first.");
    if (!Contains(replies[0], "Vantry")) {
      return Unchanged("Something that is not Vantry answers at " + endpoint.Name() + ". Name its --host and --port.");
    }
    if (!status.ok()) return NoAnswer(endpoint, file, status);
    const HandedOver outcome = ReadEditReply(replies[1], status, told);
    if (outcome != HandedOver::kBusy || std::chrono::steady_clock::now() >= end) return status;
    std::this_thread::sleep_for(kRetry);
  }
}

}  // namespace vantry
