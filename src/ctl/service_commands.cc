#include "ctl/service_commands.h"

#include <filesystem>
#include <iostream>

#include "config/registry_store.h"
#include "config/service_setup.h"
#include "config/value_forms.h"
#include "core/screen_text.h"
#include "core/text.h"
#include "ctl/folder_commands.h"
#include "platform/folder_owner.h"
#include "platform/single_instance.h"
#include "platform/systemd_units.h"
#include "setup/site_folder.h"

namespace vantry {
namespace {

std::string ProgramBeside() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).replace_filename("vantry").string();
}

// A crash leaves the mark in the registry, but not the lock.
bool ServiceRuns(Files& files, const std::string& home) {
  RegistryFile registry(files, home + "registry.ini");
  if (!EqualsNoCase(ReadRegistryValue(registry, "Settings", "ServiceRunning", "False"), "True")) return false;
  SingleInstance lock(home + "vantry.lock");
  return lock.Acquire().fail == Fail::kRefused;
}

Status Show(const ServiceMessage& message) {
  if (message.kind != BoxKind::kInformation) return Status::Error(Fail::kRefused, Printable(message.text));
  std::cout << message.text << "\n";
  return Status::Ok();
}

}  // namespace

Status InstallServiceCommand(Files& files, const CtlArguments& a) {
  UnitPlace place{.root = WithSeparator(AbsolutePath(a.root)), .program = ProgramBeside(), .home = {}, .data = {}};
  Status status = FolderOf(a.operands.empty() ? "" : a.operands[0], place.home);
  if (status.ok()) status = FindDataFolder(files, place.home, place.data);
  if (!status.ok()) return status;
  SystemdUnits units(place);
  status = Show(InstallService(a.service, ServiceRuns(files, place.home), units));
  if (!status.ok()) return status;
  const std::string account = UnitAccount(ServiceAccount(a.service)), owner = OwnerOf(place.home);
  if (!account.empty() && account != owner) {
    std::cout << Printable(place.home) << " belongs to " << Printable(owner)
              << ", and the service writes there: `chown -R " << Printable(account) << " " << Printable(place.home)
              << "`.\n";
  }
  std::cout << "The unit is " << Printable(units.UnitPath())
            << ". `systemctl start vantry` starts it, `systemctl status vantry` and\n"
               "`journalctl -u vantry` tell how it is.\n";
  return status;
}

Status RemoveServiceCommand(const CtlArguments& a) {
  SystemdUnits units({.root = WithSeparator(AbsolutePath(a.root)), .program = {}, .home = {}, .data = {}});
  if (const auto message = RemoveService(units)) return Show(*message);
  std::cout << "There is no " << Printable(units.UnitPath()) << ".\n";
  return Status::Ok();
}

}  // namespace vantry
