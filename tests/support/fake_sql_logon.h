// A SQL server in memory: it answers on command.
#pragma once

#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "ports/sql_logon.h"

namespace vantry {

class FakeSqlLogon final : public SqlLogon {
 public:
  std::vector<SqlServerLogin> tried;  // Every logon, in order.

  void LogOn(SqlServerLogin login, SqlLogonDone done) override {
    tried.push_back(std::move(login));
    under_way_.push_back(std::move(done));
  }
  size_t UnderWay() const { return under_way_.size(); }
  void LetIn(const std::string& login = "sa") { Tell(Status::Ok(), login); }
  void Fail(const std::string& text, vantry::Fail kind = vantry::Fail::kIo) { Tell(Status::Error(kind, text), ""); }

 private:
  void Tell(const Status& status, const std::string& login) {
    if (under_way_.empty()) return;
    const SqlLogonDone done = std::move(under_way_.front());
    under_way_.pop_front();
    done(status, login);
  }

  std::deque<SqlLogonDone> under_way_;
};

}  // namespace vantry
