#pragma once

#include <string>

#include "core/status.h"

namespace vantry {

struct ServiceSetup {
  std::string account;                // "\NAME" or "DOMAIN\NAME"; empty: the system's own.
  bool starts_automatically = false;  // With the machine, else on demand.
};

// The machine's list of services, as far as this program's entry in it is concerned.
class ServiceInstaller {
 public:
  virtual ~ServiceInstaller() = default;
  virtual bool Installed() = 0;
  // A failure names what can't be done and what would help.
  virtual Status Install(const ServiceSetup& setup) = 0;
  virtual Status Uninstall() = 0;
};

}  // namespace vantry
