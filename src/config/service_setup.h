// Installing the program as a service and removing it, as a person asks for it in a dialog or on the command line.
#pragma once

#include <optional>
#include <string>

#include "ports/notices.h"
#include "ports/service_installer.h"

namespace vantry {

// What the person filled in.
struct ServiceForm {
  bool system_account = false;  // Whatever `account` says.
  std::string account = "SYSTEM";
  std::string password = {}, password2 = {};
  bool starts_automatically = false;
};

struct ServiceMessage {
  BoxKind kind = BoxKind::kInformation;
  std::string text;
};

// The account as the installer is given it: "SYSTEM" in any case is empty, and a name without a domain has a bare "\"
// in front.
std::string ServiceAccount(const ServiceForm& form);

// Installs anew what is installed already. `service_mode`: the service runs now, and nothing is done. Returns what to
// tell the person: a warning or a critical message when the service was not installed.
ServiceMessage InstallService(const ServiceForm& form, bool service_mode, ServiceInstaller& installer);

// Empty when nothing was installed and there is nothing to tell.
std::optional<ServiceMessage> RemoveService(ServiceInstaller& installer);

}  // namespace vantry
