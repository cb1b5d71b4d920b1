#include "config/service_setup.h"

#include <vector>

#include <gtest/gtest.h>

#include "support/fake_installer.h"

namespace vantry {
namespace {

using Calls = std::vector<std::string>;

struct InstallServiceTest : ::testing::Test {
  FakeInstaller installer;
  ServiceForm form;
};

TEST(ServiceAccountTest, HasAPrefixUnlessItHasADomainOrIsTheSystems) {
  const std::pair<const char*, const char*> kCases[] = {
      {"administrator", "\\administrator"},
      {" web ", "\\web"},
      {"OFFICE\\web", "OFFICE\\web"},
      {"\\web", "\\web"},
      {"system", ""},
      {" SyStEm ", ""},
      {"SYSTEM\\x", "SYSTEM\\x"},
      {"", ""},
      {"systems", "\\systems"},
  };
  for (const auto& [given, wanted] : kCases) EXPECT_EQ(ServiceAccount({.account = given}), wanted) << given;
  EXPECT_EQ(ServiceAccount({.system_account = true, .account = "web"}), "");
}

TEST_F(InstallServiceTest, ARunningServiceIsLeftAlone) {
  const ServiceMessage message = InstallService(form, true, installer);
  EXPECT_EQ(message.kind, BoxKind::kWarning);
  EXPECT_EQ(message.text, "The Service is currently running. Please stop the Service before selecting this option.");
  EXPECT_TRUE(installer.calls.empty());
}

TEST_F(InstallServiceTest, PasswordsMustBeAlike) {
  form.password = "a";
  const ServiceMessage message = InstallService(form, false, installer);
  EXPECT_EQ(message.kind, BoxKind::kWarning);
  EXPECT_EQ(message.text, "Passwords Do Not Match");
  EXPECT_TRUE(installer.calls.empty());
}

TEST_F(InstallServiceTest, WhatIsThereIsUninstalledFirst) {
  installer.installed = true;
  form.account = "web";
  form.starts_automatically = true;
  const ServiceMessage message = InstallService(form, false, installer);
  EXPECT_EQ(installer.calls, (Calls{"uninstall", "install '\\web' auto"}));
  EXPECT_EQ(message.kind, BoxKind::kInformation);
  EXPECT_EQ(message.text,
            "Service Installed Successfully. Close Vantry and use the Services Applet to start the service, or "
            "restart your computer.");
}

TEST_F(InstallServiceTest, TheSystemsAccountOnDemandIsTheStandard) {
  InstallService(form, false, installer);
  EXPECT_EQ(installer.calls, Calls{"install ''"});
}

TEST_F(InstallServiceTest, FailuresAreTold) {
  installer.takes_hold = false;
  EXPECT_EQ(InstallService(form, false, installer).text, "The Service was NOT installed.");
  installer.answer = Status::Error(Fail::kIo, "/etc/x: Permission denied");
  const ServiceMessage message = InstallService(form, false, installer);
  EXPECT_EQ(message.kind, BoxKind::kCritical);
  EXPECT_EQ(message.text, "Error installing service. /etc/x: Permission denied");
  installer.installed = true;
  installer.calls.clear();
  EXPECT_EQ(InstallService(form, false, installer).text, message.text);
  EXPECT_EQ(installer.calls, Calls{"uninstall"}) << "what could not be removed is not replaced";
}

TEST_F(InstallServiceTest, RemovingTellsOnlyWhenThereWasOne) {
  EXPECT_FALSE(RemoveService(installer));
  EXPECT_TRUE(installer.calls.empty());
  installer.installed = true;
  EXPECT_EQ(RemoveService(installer)->text, "The Service has been removed.");
  EXPECT_FALSE(installer.installed);
  installer.installed = true;
  installer.answer = Status::Error(Fail::kIo, "no");
  EXPECT_EQ(RemoveService(installer)->kind, BoxKind::kCritical);
}

}  // namespace
}  // namespace vantry
