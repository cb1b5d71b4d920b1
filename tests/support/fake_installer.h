// A machine's list of services in memory.
#pragma once

#include <string>
#include <vector>

#include "ports/service_installer.h"

namespace vantry {

struct FakeInstaller final : ServiceInstaller {
  bool installed = false, takes_hold = true;
  Status answer;
  std::vector<std::string> calls;
  bool Installed() override { return installed; }
  Status Install(const ServiceSetup& setup) override {
    calls.push_back("install '" + setup.account + "'" + (setup.starts_automatically ? " auto" : ""));
    installed = answer.ok() && takes_hold;
    return answer;
  }
  Status Uninstall() override {
    calls.emplace_back("uninstall");
    installed = false;
    return answer;
  }
};

// The same list, as one who asks for it is given it.
class LentInstaller final : public ServiceInstaller {
 public:
  explicit LentInstaller(FakeInstaller& list) : list_(list) {}
  bool Installed() override { return list_.Installed(); }
  Status Install(const ServiceSetup& setup) override { return list_.Install(setup); }
  Status Uninstall() override { return list_.Uninstall(); }

 private:
  FakeInstaller& list_;
};

}  // namespace vantry
