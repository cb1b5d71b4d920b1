// The windows that look at a visitor's machine.
#include <QHeaderView>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableWidget>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "desktop/pictures.h"
#include "support/window_rig.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct NetworkWindowsTest : MainWindowTest {
  QDialog* dialog = nullptr;

  void OpenOn(int row, const char* command, const char* name) {
    OpenWithVisitors();
    Choose(row);
    OpenTool(command, name);
  }
  void Choose(int row) {
    Find<QTableView>("VsGrid").selectRow(row);
    Frm().Refresh();
  }
  void OpenTool(const char* command, const char* name) {
    Trigger(command);
    const QList<QDialog*> open = Frm().findChildren<QDialog*>(name);
    ASSERT_FALSE(open.isEmpty()) << name;
    dialog = open.back();
  }
  std::string TextOf(const char* name) { return WidgetIn<QPlainTextEdit>(*dialog, name).toPlainText().toStdString(); }
  std::string LabelOf(const char* name) { return WidgetIn<QLabel>(*dialog, name).text().toStdString(); }
  void Press(const char* button) { Click(*dialog, button); }
  void CloseIt() {
    dialog->close();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }
  std::string Cell(int row, int column) {
    return WidgetIn<QTableWidget>(*dialog, "Grid").item(row, column)->text().toStdString();
  }

  static PingAnswer Reply() {
    PingAnswer answer;
    answer.address = "10.0.0.2";
    answer.road = "ICMP";
    answer.time_us = 12'000;
    answer.bytes = 32;
    answer.ttl = 57;
    return answer;
  }
  static HopAnswer Hop(const std::string& address, bool is_end = false) {
    HopAnswer answer;
    answer.target = "10.0.0.2";
    answer.address = address;
    answer.time_us = 3'000;
    answer.is_end = is_end;
    return answer;
  }
  static WhoIsAnswer Answer(const std::string& text) {
    WhoIsAnswer answer;
    answer.text = text;
    return answer;
  }
};

TEST_F(NetworkWindowsTest, PingsTheAddressAlone) {
  OpenOn(1, "miPing", "frmPing");
  EXPECT_EQ(dialog->windowTitle(), "Ping");
  EXPECT_EQ(WidgetIn<QLineEdit>(*dialog, "txtHost").text(), "10.0.0.2");
  EXPECT_EQ(WidgetIn<QPushButton>(*dialog, "cmdStart").text(), "St&art");
  EXPECT_THAT(ping.asked, IsEmpty());
  Press("cmdStart");
  EXPECT_EQ(ping.asked.at(0).host, "10.0.0.2");
  EXPECT_EQ(ping.asked.at(0).bytes, 32);
  for (int n = 0; n < 5; ++n) ping.Tell(Reply());
  std::string report = "Pinging 10.0.0.2 with 32 bytes of data\n";
  for (int n = 0; n < 5; ++n) report += "\tReply from 10.0.0.2: bytes=32 Time=12ms TTL=57\n";
  report +=
      "Ping statistics for 10.0.0.2\n\tPackets: Sent =  5, Received = 5, Lost = 0\n"
      "Approximate round trip times in milli-seconds:\n\tMinimum = 12ms, Maximum = 12ms, Average = 12ms";
  EXPECT_EQ(TextOf("lstTrack"), report);
  EXPECT_EQ(LabelOf("lblStat"), "By ICMP");
}

TEST_F(NetworkWindowsTest, APingCanBeStoppedAndStartedOnAnotherHost) {
  files.Put("/home/registry.ini", "[Ping]\r\nPacketSize=100\r\n");
  OpenOn(1, "miPing", "frmPing");
  Press("cmdStart");
  EXPECT_EQ(WidgetIn<QPushButton>(*dialog, "cmdStart").text(), "St&op");
  Press("cmdStart");
  EXPECT_EQ(ping.UnderWay(), 0u);
  EXPECT_EQ(LabelOf("lblStat"), "Stopped.");
  WidgetIn<QLineEdit>(*dialog, "txtHost").setText("-c 1");
  Press("cmdStart");
  EXPECT_EQ(ping.asked.back().host, "-c 1") << "what is a host is for the port to say";
  EXPECT_EQ(ping.asked.back().bytes, 100);
}

TEST_F(NetworkWindowsTest, ClosingTheWindowStopsThePing) {
  OpenOn(1, "miPing", "frmPing");
  Press("cmdStart");
  ASSERT_EQ(ping.UnderWay(), 1u);
  CloseIt();
  EXPECT_EQ(ping.UnderWay(), 0u);
  EXPECT_EQ(Frm().findChild<QDialog*>("frmPing"), nullptr);
}

TEST_F(NetworkWindowsTest, SeveralMayBeOpen) {
  OpenOn(0, "miPing", "frmPing");
  Press("cmdStart");
  Choose(1);
  OpenTool("miPing", "frmPing");
  Press("cmdStart");
  EXPECT_EQ(Frm().findChildren<QDialog*>("frmPing").size(), 2);
  EXPECT_EQ(ping.UnderWay(), 2u);
}

TEST_F(NetworkWindowsTest, TracesTheRoute) {
  OpenOn(1, "miTracert", "frmTracert");
  EXPECT_EQ(dialog->windowTitle(), "Trace Route");
  EXPECT_EQ(LabelOf("lblStat"), "Click Go to start.");
  EXPECT_FALSE(WidgetIn<QPushButton>(*dialog, "Command1").isEnabled());
  EXPECT_EQ(WidgetIn<QPushButton>(*dialog, "Command1").text(), "Cancel");
  auto& grid = WidgetIn<QTableWidget>(*dialog, "Grid");
  QStringList headings;
  for (int column = 0; column < grid.columnCount(); ++column) headings += grid.horizontalHeaderItem(column)->text();
  EXPECT_EQ(headings, QStringList({"Hop", "Duration", "IP Address", "DNS"}));
  Press("btnGO");
  EXPECT_FALSE(WidgetIn<QPushButton>(*dialog, "btnGO").isEnabled());
  ASSERT_EQ(more_resolvers.size(), 1u);
  route.TellOf(0, Hop("10.0.0.254"));
  route.TellOf(1, Hop(""));
  more_resolvers[0]->AnswerNext([](const std::string&) { return "gate.example"; });
  route.TellOf(2, Hop("10.0.0.2", true));
  EXPECT_EQ(grid.rowCount(), 3);
  EXPECT_EQ(Cell(0, 0) + Cell(0, 1) + Cell(0, 2) + Cell(0, 3), "13 ms10.0.0.254gate.example");
  EXPECT_EQ(Cell(1, 0) + Cell(1, 1) + Cell(1, 2) + Cell(1, 3), "2*");
  EXPECT_EQ(LabelOf("lblStat"), "Trace complete.");
  EXPECT_TRUE(WidgetIn<QPushButton>(*dialog, "btnGO").isEnabled());
  more_resolvers[0]->AnswerNext([](const std::string&) { return "two.example"; });
  EXPECT_EQ(Cell(2, 3), "two.example") << "names come after the end, too";
  Press("btnGO");
  EXPECT_EQ(grid.rowCount(), 0);
}

TEST_F(NetworkWindowsTest, ATraceCanBeCancelled) {
  OpenOn(1, "miTracert", "frmTracert");
  Press("btnGO");
  route.TellOf(0, Hop("10.0.0.254"));
  Press("Command1");
  EXPECT_EQ(route.UnderWay(), 0u);
  EXPECT_EQ(LabelOf("lblStat"), "Stopped.");
  EXPECT_TRUE(WidgetIn<QPushButton>(*dialog, "btnGO").isEnabled());
  Press("btnGO");
  CloseIt();
  EXPECT_EQ(route.UnderWay(), 0u);
}

TEST_F(NetworkWindowsTest, ATextTypedMeanwhileIsForTheNextStart) {
  OpenOn(1, "miTracert", "frmTracert");
  Press("btnGO");
  WidgetIn<QLineEdit>(*dialog, "txtIP").setText("other.example");
  route.TellOf(0, Hop("10.0.0.254"));
  EXPECT_EQ(route.asked.back().host, "10.0.0.2");
  Press("Command1");
  Press("btnGO");
  EXPECT_EQ(route.asked.back().host, "other.example");
}

TEST_F(NetworkWindowsTest, NamesAreLookedUpOnlyIfTheSettingsSaySo) {
  OpenOn(1, "miTracert", "frmTracert");
  engine->GetSettings().ReverseDNS = false;
  Press("btnGO");
  EXPECT_THAT(more_resolvers, IsEmpty());
}

TEST_F(NetworkWindowsTest, AsksWhoItIs) {
  OpenWithVisitors();
  T().Visitors.ChangeName(*T().Visitors.Lookup(1, "10.0.0.2"), "p2.dialup.example.com");
  Choose(1);
  OpenTool("miWhois", "frmWhoIs");
  EXPECT_EQ(dialog->windowTitle(), "Who Is: p2.dialup.example.com");
  EXPECT_EQ(LabelOf("lblStat"), "Connecting to whois.iana.org");
  EXPECT_EQ(who_is.asked.at(0).text, "example.com");
  who_is.Tell(
      Answer("NetName:\tEX\r\nOrgName: Exampl\xE9\r\nCountry: NL\r\nAbuse contact: abuse@example.com\r\n\x1B[2J"));
  EXPECT_EQ(LabelOf("lblNetwork"), "EX");
  QApplication::processEvents();
  EXPECT_TRUE(WidgetIn<QLabel>(*dialog, "lblNetwork").isVisible());
  EXPECT_EQ(LabelOf("lblOrganisation"), "Exampl\xC3\xA9");
  EXPECT_EQ(LabelOf("lblCountry"), "NL");
  EXPECT_EQ(LabelOf("lblAbuse"), "abuse@example.com");
  EXPECT_THAT(TextOf("txtWhois"), HasSubstr("NetName:\tEX\nOrgName: Exampl\xC3\xA9\nCountry: NL\n"));
  EXPECT_THAT(TextOf("txtWhois"), HasSubstr("\xEF\xBF\xBD[2J")) << "control characters are not let through";
  EXPECT_EQ(LabelOf("lblStat"), "Answer of whois.iana.org");
  EXPECT_FALSE(WidgetIn<QPushButton>(*dialog, "btnCancel").isEnabled());
}

TEST_F(NetworkWindowsTest, AFailedLookUpIsAskedForByItsAddress) {
  OpenWithVisitors();
  T().Visitors.ChangeName(*T().Visitors.Lookup(1, "10.0.0.2"), "10.0.0.2 ?");
  Choose(1);
  OpenTool("miWhois", "frmWhoIs");
  EXPECT_EQ(who_is.asked.at(0).text, "10.0.0.2");
}

TEST_F(NetworkWindowsTest, AnErrorIsTold) {
  files.Put("/home/registry.ini", "[WhoIs]\r\nRegional=whois.my.example\r\nRdapServer=\r\n");
  OpenOn(1, "miWhois", "frmWhoIs");
  WhoIsAnswer failure;
  failure.status = Status::Error(Fail::kIo, "whois.my.example: Connection refused");
  who_is.Tell(failure);
  EXPECT_EQ(LabelOf("lblStat"), "An error occurred. whois.my.example: Connection refused");
  EXPECT_EQ(TextOf("txtWhois"), "");
}

TEST_F(NetworkWindowsTest, AMegabyteIsShown) {
  OpenOn(1, "miWhois", "frmWhoIs");
  std::string text;
  while (text.size() < (1 << 20)) text += "remarks: a line of an answer that goes on and on\n";
  who_is.Tell(Answer(text));
  EXPECT_EQ(TextOf("txtWhois").size(), text.size());
}

TEST_F(NetworkWindowsTest, AQuestionEndsWithItsWindow) {
  OpenOn(1, "miWhois", "frmWhoIs");
  Press("btnCancel");
  EXPECT_EQ(who_is.UnderWay(), 0u);
  EXPECT_EQ(LabelOf("lblStat"), "Stopped.");
  CloseIt();
  OpenTool("miWhois", "frmWhoIs");
  ASSERT_EQ(who_is.UnderWay(), 1u);
  CloseIt();
  EXPECT_EQ(who_is.UnderWay(), 0u);
}

TEST_F(NetworkWindowsTest, ExceptionsHaveNoMachineToLookAt) {
  OpenWithVisitors();
  Trigger("miViewExceptions");
  for (const char* command : {"miPing", "miTracert", "miWhois"}) {
    EXPECT_FALSE(Enabled(command));
    Frm().Run(command);
  }
  EXPECT_THAT(who_is.asked, IsEmpty());
}

TEST_F(NetworkWindowsTest, TheProgramMayEndMeanwhile) {
  OpenOn(1, "miPing", "frmPing");
  Press("cmdStart");
  OpenTool("miTracert", "frmTracert");
  Press("btnGO");
  OpenTool("miWhois", "frmWhoIs");
  EXPECT_EQ(ping.UnderWay() + route.UnderWay() + who_is.UnderWay(), 3u);
  engine->Closing();
  EXPECT_EQ(ping.UnderWay() + route.UnderWay() + who_is.UnderWay(), 0u) << "the window itself stays longer";
}

TEST_F(NetworkWindowsTest, PicturesOfTheTools) {
  if (!PicturesWanted()) GTEST_SKIP() << "VANTRY_PICTURES is not set.";
  OpenWithVisitors();
  T().Visitors.ChangeName(*T().Visitors.Lookup(1, "10.0.0.2"), "p2.dialup.example.com");
  Choose(1);
  for (const bool dark : {false, true}) {
    QApplication::setPalette(PicturePalette(dark));
    const auto save = [&](const char* name) {
      QApplication::processEvents();
      SavePicture(dialog->grab().toImage(), QString("%1-%2").arg(name, dark ? "dark" : "light"));
      CloseIt();
    };
    OpenTool("miPing", "frmPing");
    Press("cmdStart");
    while (ping.Tell(Reply())) {
    }
    save("frmPing");
    OpenTool("miTracert", "frmTracert");
    Press("btnGO");
    const size_t first = route.asked.size() - 1;
    route.TellOf(first, Hop("192.0.2.1"));
    route.TellOf(first + 1, Hop(""));
    route.TellOf(first + 2, Hop("198.51.100.7"));
    more_resolvers.back()->AnswerNext([](const std::string&) { return "gate.example.net"; });
    route.TellOf(first + 3, Hop("10.0.0.2", true));
    save("frmTracert");
    OpenTool("miWhois", "frmWhoIs");
    who_is.Tell(
        Answer("% This is a registry.\n\ninetnum:        10.0.0.0 - 10.0.0.255\nnetname:        EXAMPLE-NET\n"
               "org-name:       Example Networks B.V.\ncountry:        NL\nabuse-mailbox:  abuse@example.net\n"));
    save("frmWhoIs");
  }
  QApplication::setPalette(QPalette());
}

}  // namespace
}  // namespace vantry
