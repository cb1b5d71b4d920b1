// Sends one mail and tells how that went, for tests with real servers.
//   send_mail SERVER USER PASSWORD FROM TO SUBJECT BODYFILE html|text [ATTACHMENT]
// Status lines go to stdout. Exit code: 0 sent, 1 not or not to everybody, 2 wrong arguments.
#include <QCoreApplication>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "notify/mail_headers.h"
#include "platform/curl_mail.h"
#include "platform/system_clock.h"

namespace {

std::string ReadFile(const char* path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 9 && argc != 10) {
    std::fprintf(stderr, "usage: send_mail SERVER USER PASSWORD FROM TO SUBJECT BODYFILE html|text [ATTACHMENT]\n");
    return 2;
  }
  QCoreApplication application(argc, argv);
  const vantry::SystemClock clock;
  vantry::CurlMail mail;
  vantry::MailMessage message;
  message.server = argv[1];
  message.user = argv[2];
  message.password = argv[3];
  message.body = ReadFile(argv[7]);
  message.html = std::string_view(argv[8]) == "html";
  if (argc == 10) message.attachment = argv[9];
  const auto tell = [](std::string_view line) { std::printf("%.*s\n", static_cast<int>(line.size()), line.data()); };
  const vantry::Status written = WriteMailHeaders({argv[4], argv[5], argv[6], clock.Now(), clock.UtcOffset()}, message);
  if (!written.ok()) {
    tell(written.text);
    return 1;
  }
  int result = 1;
  mail.Send(message, [&](const vantry::MailOutcome& outcome) {
    for (const std::string& line : outcome.lines) tell(line);
    result = outcome.status.ok() ? 0 : 1;
  });
  mail.Finish(300'000);  // Its own limits are shorter.
  return result;
}
