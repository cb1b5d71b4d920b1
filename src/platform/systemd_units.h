#pragma once

#include <string>
#include <vector>

#include "ports/service_installer.h"

namespace vantry {

// What the service is to run.
struct UnitPlace {
  std::string root;     // Before all paths of units, with "/" at its end: "/", or a machine that is being set up.
  std::string program;  // Whole path.
  std::string home;     // The program's folder, with "/" at its end.
  std::string data;     // The data folder, the same.
};

// The text of the unit. `account` as in ServiceSetup; `owner` is whom the program's folder belongs to, and stands for
// the system's own account.
std::string UnitText(const UnitPlace& place, const std::string& account, const std::string& owner);

// The account as this system names it: without the bare "\".
std::string UnitAccount(const std::string& account);

// Installs a unit of systemd, /etc/systemd/system/vantry.service. A manager that runs on `root` is told.
class SystemdUnits final : public ServiceInstaller {
 public:
  explicit SystemdUnits(UnitPlace place) : place_(std::move(place)) {}
  std::string UnitPath() const;
  bool Installed() override;
  Status Install(const ServiceSetup& setup) override;
  // Ends a running service, too.
  Status Uninstall() override;

 private:
  std::string LinkPath() const;
  Status TellManager(const std::vector<std::string>& words) const;

  UnitPlace place_;
};

}  // namespace vantry
