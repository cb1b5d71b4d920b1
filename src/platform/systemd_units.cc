#include "platform/systemd_units.h"

#include <cerrno>
#include <filesystem>

#include <poll.h>
#include <unistd.h>

#include "core/text.h"
#include "platform/folder_owner.h"
#include "platform/posix_files.h"
#include "platform/posix_support.h"
#include "platform/program_starter.h"

namespace vantry {
namespace {

constexpr char kUnit[] = "vantry.service";
constexpr char kUnitFolder[] = "etc/systemd/system/";

// One word of a unit's line: quoted, with "%" doubled, as it stands for the manager's own variables.
std::string Word(const std::string& path) {
  std::string word = "\"";
  for (const char c : path) {
    if (c == '"' || c == '\\') word += '\\';
    if (c == '%') word += '%';
    word += c;
  }
  return word + "\"";
}

// What the packaged unit allows, too (debian/vantry.service; a test holds the two together).
constexpr char kRules[] =
    "AmbientCapabilities=\n"
    "CapabilityBoundingSet=\n"
    "DevicePolicy=closed\n"
    "KeyringMode=private\n"
    "LockPersonality=yes\n"
    "MemoryDenyWriteExecute=yes\n"
    "NoNewPrivileges=yes\n"
    "PrivateDevices=yes\n"
    "PrivateMounts=yes\n"
    "PrivateTmp=yes\n"
    "PrivateUsers=yes\n"
    "ProcSubset=pid\n"
    "ProtectClock=yes\n"
    "ProtectControlGroups=yes\n"
    "ProtectHome=read-only\n"
    "ProtectHostname=yes\n"
    "ProtectKernelLogs=yes\n"
    "ProtectKernelModules=yes\n"
    "ProtectKernelTunables=yes\n"
    "ProtectProc=invisible\n"
    "ProtectSystem=strict\n"
    "RemoveIPC=yes\n"
    "RestrictAddressFamilies=AF_UNIX AF_INET AF_INET6\n"
    "RestrictNamespaces=yes\n"
    "RestrictRealtime=yes\n"
    "RestrictSUIDSGID=yes\n"
    "SystemCallArchitectures=native\n"
    "SystemCallErrorNumber=EPERM\n"
    "SystemCallFilter=@system-service\n"
    "SystemCallFilter=~@privileged @resources\n"
    "UMask=0027\n";

Status NeedsRoot(Status status) {
  if (!status.ok() && ::geteuid() != 0) status.text += ". Run this as root.";
  return status;
}

// Nobody has to wait for what was started otherwise; here its end is waited for, so that one call follows the other.
Status RunToItsEnd(const ProgramCall& call) {
  int process = -1;
  const Status status = StartProgram(call, &process);
  const Descriptor watched(process);
  if (!status.ok() || !watched) return status;
  pollfd end{process, POLLIN, 0};
  constexpr int kLongest = 120'000;  // A stop may take as long as the unit allows.
  while (::poll(&end, 1, kLongest) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace

std::string UnitAccount(const std::string& account) {
  return StartsWith(account, "\\") ? account.substr(1) : account;
}

std::string UnitText(const UnitPlace& place, const std::string& account, const std::string& owner) {
  std::string user = UnitAccount(account);
  if (user.empty()) user = owner;
  std::string text =
      "[Unit]\n"
      "Description=Vantry, visitor monitor for web servers\n"
      "Documentation=man:vantry(1)\n"
      "After=network-online.target nss-lookup.target remote-fs.target time-sync.target\n"
      "Wants=network-online.target\n"
      "\n"
      "[Service]\n"
      "Type=notify\n"
      "ExecStart=" +
      Word(place.program) +
      "\n"
      "ExecReload=/bin/kill -HUP $MAINPID\n"
      "Environment=" +
      Word("VANTRY_HOME=" + place.home) + "\n";
  if (!user.empty() && user != "root") {
    std::string name;
    for (const char c : user) name += c == '%' ? "%%" : std::string(1, c);
    text += "User=" + name + "\n";
  }
  text +=
      "SupplementaryGroups=adm\n"
      "Restart=on-failure\n"
      "RestartSec=5\n"
      "WatchdogSec=3min\n"
      "TimeoutStopSec=60\n"
      "KillMode=mixed\n"
      "LimitNOFILE=8192\n"
      "ReadWritePaths=" +
      Word(place.home);
  if (!StartsWith(place.data, place.home)) text += " " + Word("-" + place.data);
  text += "\n";
  text += kRules;
  return text + "\n[Install]\nWantedBy=multi-user.target\n";
}

std::string SystemdUnits::UnitPath() const {
  return place_.root + kUnitFolder + kUnit;
}

std::string SystemdUnits::LinkPath() const {
  return place_.root + kUnitFolder + "multi-user.target.wants/" + kUnit;
}

// As sd_booted(3) tells it. Another root has no manager that runs.
Status SystemdUnits::TellManager(const std::vector<std::string>& words) const {
  if (place_.root != "/" || ::access("/run/systemd/system", F_OK) != 0) return Status::Ok();
  const std::string program = FindProgram("systemctl");
  if (program.empty()) return Status::Ok();
  return RunToItsEnd({.program = program, .arguments = words});
}

bool SystemdUnits::Installed() {
  return ::access(UnitPath().c_str(), F_OK) == 0;
}

Status SystemdUnits::Install(const ServiceSetup& setup) {
  for (const std::string& text : {place_.home, place_.data, place_.program, setup.account}) {
    if (text.find_first_of("\r\n") != std::string::npos) {
      return Status::Error(Fail::kBadData, "A name with a line end can't stand in a unit");
    }
  }
  PosixFiles files;
  Status status = files.MakeFolder(place_.root + kUnitFolder);
  if (status.ok()) status = files.Replace(UnitPath(), UnitText(place_, setup.account, OwnerOf(place_.home)));
  if (!status.ok()) return NeedsRoot(status);
  if (setup.starts_automatically) {
    status = files.MakeFolder(LinkPath().substr(0, LinkPath().rfind('/')));
    std::error_code error;
    std::filesystem::remove(LinkPath(), error);
    std::filesystem::create_symlink(std::string("/") + kUnitFolder + kUnit, LinkPath(), error);
    if (status.ok() && error) status = Status::Error(Fail::kIo, LinkPath() + ": " + error.message());
    if (!status.ok()) return NeedsRoot(status);
  }
  return TellManager({"daemon-reload"});
}

Status SystemdUnits::Uninstall() {
  Status status = TellManager({"stop", kUnit});
  for (const std::string& path : {LinkPath(), UnitPath()}) {
    std::error_code error;
    std::filesystem::remove(path, error);
    if (status.ok() && error) status = NeedsRoot(Status::Error(Fail::kIo, path + ": " + error.message()));
  }
  const Status told = TellManager({"daemon-reload"});
  return status.ok() ? told : status;
}

}  // namespace vantry
