#include "platform/tds_job.h"

#include <memory>
#include <string_view>

#include <pwd.h>
#include <sybdb.h>
#include <syberror.h>
#include <sybfront.h>
#include <unistd.h>

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

constexpr int kRealMessage = 11;  // Severity; what is below informs.

// What db-lib and the server said in the course of one logon.
struct Said {
  std::string server, library, system;  // The first of each.
  int error = 0;                        // The library's first.

  void Keep(std::string& text, const char* words) {
    if (text.empty() && words) text = ToOneLine(std::string_view(words).substr(0, 300));
  }
};

// db-lib hands its handlers nothing of the caller's, so each thread says here who listens.
Said*& Listener() {
  thread_local Said* listener = nullptr;
  return listener;
}

// Never INT_EXIT, which would end the program.
int TakeError(DBPROCESS*, int, int error, int system_error, char* text, char* system_text) {
  if (Said* said = Listener(); said && said->error == 0) {
    said->error = error;
    said->Keep(said->library, text);
    if (system_error != 0 && system_error != DBNOERR) said->Keep(said->system, system_text);
  }
  return INT_CANCEL;
}

int TakeMessage(DBPROCESS*, DBINT, int, int severity, char* text, char*, char*, int) {
  if (Said* said = Listener(); said && severity >= kRealMessage) said->Keep(said->server, text);
  return 0;
}

struct LoginFreed {
  void operator()(LOGINREC* login) const { dbloginfree(login); }
};

std::string AccountName() {
  passwd entry{}, *found = nullptr;
  char buffer[4096];
  const bool known = ::getpwuid_r(::geteuid(), &entry, buffer, sizeof buffer, &found) == 0 && found;
  return known ? found->pw_name : std::to_string(::geteuid());
}

std::string LibraryText(const TdsJob& job, const Said& said) {
  const std::string system = said.system.empty() ? "" : ": " + Lower(said.system);
  switch (said.error) {
    case SYBECONN:
      return "no connection" + system;
    case SYBETIME:
      return "the server did not answer within " + std::to_string(job.limit_s) + " s";
    case SYBEINTF:
    case SYBEUHST:
      return "the name of the server is not known";
    case SYBEREAD:
    case SYBESEOF:
    case SYBEFCON:
      return "the connection broke off in the course of the logon" + system;
    case 0:
      return "the logon failed";
    default:
      return said.library + system;
  }
}

void SetFailure(TdsJob& job, const Said& said) {
  std::string text = said.server.empty() ? LibraryText(job, said) : said.server;
  if (job.trusted && said.error != SYBECONN && said.error != SYBEUHST && said.error != SYBEINTF) {
    text += " (with SQLServerAuth=True the account " + AccountName() + " needs a Kerberos ticket)";
  }
  job.result = Status::Error(said.server.empty() ? Fail::kIo : Fail::kRefused, job.server + ": " + text);
}

Status Fill(const TdsJob& job, LOGINREC* login) {
  if (!login) return Status::Error(Fail::kIo, "no memory for a logon");
  const auto bad = [&](const char* text) { return Status::Error(Fail::kBadData, job.server + ": " + text); };
  // With a version of its own choice db-lib waits for ever for a server that never speaks.
  if (DBSETLVERSION(login, DBVERSION_74) != SUCCEED) return bad("this FreeTDS is too old");
  (void)DBSETLAPP(login, "Vantry");
  if (job.trusted) {
    (void)DBSETLNETWORKAUTH(login, 1);
    return Status::Ok();
  }
  if (DBSETLUSER(login, job.user.c_str()) != SUCCEED) return bad("SQLServerUser is too long");
  if (DBSETLPWD(login, job.password.c_str()) != SUCCEED) return bad("SQLServerPass is too long");
  return Status::Ok();
}

void LogOnAndOff(TdsJob& job) {
  const std::unique_ptr<LOGINREC, LoginFreed> login(dblogin());
  job.result = Fill(job, login.get());
  if (!job.result.ok()) return;
  (void)dbsetlogintime(job.limit_s);
  Said said;
  Listener() = &said;
  DBPROCESS* server = dbopen(login.get(), job.server.c_str());
  if (server) {
    job.login = job.trusted ? AccountName() : job.user;
    dbclose(server);
  } else {
    SetFailure(job, said);
  }
  Listener() = nullptr;
}

}  // namespace

// Not ended with dbexit: a logon that was given up may still be under way.
void StartTds() {
  (void)dbinit();
  dberrhandle(TakeError);
  dbmsghandle(TakeMessage);
}

void RunTdsJob(TdsJob& job) {
  const Status status = Attempt([&job] {
    LogOnAndOff(job);
    return Status::Ok();
  });
  if (!status.ok()) job.result = Status::Error(status.fail, job.server + ": " + status.text);
}

}  // namespace vantry
