// The commands that make the program a service.
#include "desktop/service_window.h"

#include <QAbstractButton>
#include <QLineEdit>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/window_rig.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct ServiceWindowTest : MainWindowTest {
  ServiceWindow* dialog = nullptr;

  void Install() {
    Trigger("miInstallService");
    dialog = static_cast<ServiceWindow*>(Frm().findChild<QDialog*>("frmService"));
    ASSERT_NE(dialog, nullptr);
  }
  void Type(const char* control, const QString& text) { dialog->findChild<QLineEdit*>(control)->setText(text); }
  void Click(const char* button) {
    dialog->findChild<QAbstractButton*>(button)->click();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }
  bool IsOpen() { return Frm().findChild<QDialog*>("frmService") != nullptr; }
};

TEST_F(ServiceWindowTest, Installs) {
  ASSERT_TRUE(Open());
  Install();
  EXPECT_EQ(dialog->windowTitle(), "Install Vantry Service");
  EXPECT_EQ(dialog->findChild<QLineEdit*>("txtAccount")->text(), "SYSTEM");
  Type("txtAccount", "administrator");
  Type("txtPassword", "one");
  Click("btnInstall");
  EXPECT_EQ(prompts.told.back(), "Passwords Do Not Match");
  EXPECT_TRUE(IsOpen());
  Type("txtPassword2", "one");
  Click("chkAuto");
  Click("btnInstall");
  EXPECT_FALSE(IsOpen());
  EXPECT_EQ(prompts.told.back(),
            "Service Installed Successfully. Close Vantry and use the Services Applet to start the service, or restart "
            "your computer.");
  EXPECT_THAT(installer.calls, ElementsAre("install '\\administrator' auto"));
}

TEST_F(ServiceWindowTest, TheSystemsAccountLocksTheTexts) {
  ASSERT_TRUE(Open());
  Install();
  Click("chkSystem");
  for (const char* control : {"txtAccount", "txtPassword", "txtPassword2"}) {
    EXPECT_FALSE(dialog->findChild<QLineEdit*>(control)->isEnabled()) << control;
  }
  Click("chkSystem");
  EXPECT_TRUE(dialog->findChild<QLineEdit*>("txtAccount")->isEnabled());
}

TEST_F(ServiceWindowTest, WhatTheMachineRefusesIsTold) {
  ASSERT_TRUE(Open());
  installer.answer = Status::Error(Fail::kRefused, "not allowed");
  Install();
  Click("btnInstall");
  EXPECT_EQ(prompts.told.back(), "Error installing service. not allowed");
  EXPECT_FALSE(IsOpen());
}

TEST_F(ServiceWindowTest, IsRemoved) {
  ASSERT_TRUE(Open());
  Trigger("miRemoveService");
  EXPECT_THAT(installer.calls, IsEmpty());
  installer.installed = true;
  Trigger("miRemoveService");
  EXPECT_THAT(installer.calls, ElementsAre("uninstall"));
}

TEST_F(ServiceWindowTest, IsStoppedOnlyAsAServiceAndWithYes) {
  ASSERT_TRUE(Open());
  Frm().Refresh();
  EXPECT_FALSE(Enabled("miStopService"));
  Frm().Run("miStopService");
  EXPECT_THAT(prompts.asked, IsEmpty());
  T().ServiceMode = true;
  Trigger("miStopService");
  Frm().Run("miStopService");
  EXPECT_EQ(prompts.asked.back(), "Are you sure you want to stop the Vantry Service?");
  EXPECT_FALSE(T().Closing);
  prompts.answer = QMessageBox::Yes;
  Frm().Run("miStopService");
  EXPECT_TRUE(T().Closing);
}

}  // namespace
}  // namespace vantry
