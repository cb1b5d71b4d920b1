#include "config/service_setup.h"

#include "core/text.h"

namespace vantry {

std::string ServiceAccount(const ServiceForm& form) {
  const std::string account(Trim(form.account));
  if (form.system_account || account.empty() || Upper(account) == "SYSTEM") return {};
  return Contains(account, "\\") ? account : "\\" + account;
}

ServiceMessage InstallService(const ServiceForm& form, bool service_mode, ServiceInstaller& installer) {
  if (service_mode) {
    return {BoxKind::kWarning,
            "The Service is currently running. Please stop the Service before selecting this option."};
  }
  if (form.password != form.password2) return {BoxKind::kWarning, "Passwords Do Not Match"};
  Status status = installer.Installed() ? installer.Uninstall() : Status::Ok();
  if (status.ok()) {
    status = installer.Install({.account = ServiceAccount(form), .starts_automatically = form.starts_automatically});
  }
  if (!status.ok()) return {BoxKind::kCritical, "Error installing service. " + status.text};
  if (!installer.Installed()) return {BoxKind::kCritical, "The Service was NOT installed."};
  return {BoxKind::kInformation,
          "Service Installed Successfully. Close Vantry and use the Services Applet to start the service, or restart "
          "your computer."};
}

std::optional<ServiceMessage> RemoveService(ServiceInstaller& installer) {
  if (!installer.Installed()) return std::nullopt;
  if (const Status status = installer.Uninstall(); !status.ok()) {
    return ServiceMessage{BoxKind::kCritical, "Error removing service. " + status.text};
  }
  return ServiceMessage{BoxKind::kInformation, "The Service has been removed."};
}

}  // namespace vantry
