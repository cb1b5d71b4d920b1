// What a mail server says, and the text that names one: the first line is the server, every other one begins with ">"
// for a command that goes out or is a line of a reply.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/text.h"
#include "core/text_encoding.h"
#include "platform/smtp_text.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

void CheckWords(const std::string& words) {
  Require(words.size() <= 200 && vantry::IsUtf8(words) && words.find("secret") == std::string::npos);
  Require(std::none_of(words.begin(), words.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }));
}

void CheckServer(std::string_view text) {
  vantry::MailServer server, again;
  if (const vantry::Status status = vantry::ReadMailServer(text, server); !status.ok()) {
    Require(status.text.size() < 300 && vantry::IsUtf8(status.text));
    return;
  }
  Require(server.port != 0 && vantry::ReadMailServer(server.Place(), again).ok() && again.Place() == server.Place());
  Require(server.Place().find_first_of(" /@%\r\n") == std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const size_t end = std::min(text.find('\n'), size);
  CheckServer(std::string_view(text).substr(0, end));
  if (end == size) return 0;
  vantry::SmtpDialogue dialogue({"secret"});
  for (const std::string_view line : vantry::Split(std::string_view(text).substr(end + 1), '\n')) {
    if (line.starts_with('>')) {
      dialogue.Sent(std::string(line.substr(1)) + "\r\n");
      continue;
    }
    (void)dialogue.Received(line);
    CheckWords(dialogue.Words());
    CheckWords(dialogue.TakenWords());
    Require(dialogue.Command() == "." || !dialogue.Taken() || !dialogue.TakenWords().empty());
  }
  for (const auto& refusal : dialogue.Refusals()) CheckWords(refusal.words);
  return 0;
}
