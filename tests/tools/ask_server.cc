// Asks servers as the monitors do and tells what came of it, for tests with real ones:
//   ask_server page TIMEOUT_MS URL...
//   ask_server sql TIMEOUT_S SERVER [USER PASSWORD]
// A line for each answer, in the order in which they come: "ok", for a logon with the login's name, or what is wrong.
// Exit code: 0 all well, 1 not, 2 wrong arguments.
#include <QCoreApplication>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/curl_http.h"
#include "platform/tds_logon.h"

namespace {

struct Outcomes {
  int missing = 0;
  bool well = true;

  void Take(const vantry::Status& status, const std::string& about) {
    std::printf("%s%s\n", status.ok() ? "ok" : status.text.c_str(), about.c_str());
    std::fflush(stdout);
    well = well && status.ok();
    if (--missing == 0) QCoreApplication::quit();
  }
};

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc > 3 ? argv[1] : "";
  if (what != "page" && what != "sql") {
    std::fprintf(stderr, "usage: ask_server page TIMEOUT_MS URL... | sql TIMEOUT_S SERVER [USER PASSWORD]\n");
    return 2;
  }
  QCoreApplication application(argc, argv);
  const int timeout = std::atoi(argv[2]);
  Outcomes outcomes;
  vantry::CurlHttp http(timeout);
  vantry::TdsLogon sql(timeout);
  if (what == "page") {
    outcomes.missing = argc - 3;
    for (int i = 3; i < argc; ++i) {
      http.Get(argv[i], [&](const vantry::Status& status) { outcomes.Take(status, ""); });
    }
  } else {
    outcomes.missing = 1;
    const bool trusted = argc < 6;
    sql.LogOn({argv[3], trusted, trusted ? "" : argv[4], trusted ? "" : argv[5]},
              [&](const vantry::Status& status, const std::string& login) {
                outcomes.Take(status, login.empty() ? "" : " " + login);
              });
  }
  QCoreApplication::exec();
  return outcomes.well ? 0 : 1;
}
