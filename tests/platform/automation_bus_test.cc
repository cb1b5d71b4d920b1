#include <fcntl.h>
#include <gtest/gtest.h>

#include "core/text.h"
#include "core/text_encoding.h"
#include "platform/private_bus.h"
#include "platform/sd_bus_automation.h"

namespace vantry {
namespace {

struct PlainCalls final : AutomationCalls {
  std::vector<std::string> notes, asked;
  std::string page = "page";
  int ready = 0, count = 7;
  bool in_event = false;

  void BusReady() override { ++ready; }
  void BusNote(std::string_view text) override { notes.emplace_back(text); }
  const std::vector<BusOperation>& Operations() const override { return operations; }
  Status Call(size_t place, const BusValues& in, BusValues& out) override {
    const BusOperation& operation = operations.at(place);
    EXPECT_TRUE(!in_event || operation.property);
    std::string& what = asked.emplace_back(operation.name);
    for (const BusValue& value : in) {
      const auto* text = std::get_if<std::string>(&value);
      what.append(" ").append(text ? *text : std::to_string(std::get<int32_t>(value)));
    }
    if (what == "SitesTable 0") return Status::Error(Fail::kBadData, "0 is no client");
    if (what == "SitesTable 99") throw std::bad_alloc();
    for (const BusArgument& result : operation.gives) {
      result.type == 's' ? out.emplace_back(page) : out.emplace_back(count);
    }
    return Status::Ok();
  }

 private:
  // One for each form of arguments and results.
  const std::vector<BusOperation> operations = {
      {"LogFileName", {{'n', "SiteNumber"}}, {{'s', "Name"}}},
      {"LogFileDomain", {{'n', "SiteNumber"}}, {{'s', "Domain"}}},
      {"LogFileTotalSpiders", {{'n', "SiteNumber"}}, {{'i', "Count"}}},
      {"NumberOfSites", {}, {{'n', "Count"}}, true},
      {"VisitorsTable", {{'n', "ClientNo"}, {'s', "Domain"}}, {{'s', "Page"}}},
      {"SiteTable", {{'n', "ClientNo"}, {'n', "LogNo"}}, {{'s', "Page"}}},
      {"SitesTable", {{'n', "ClientNo"}}, {{'s', "Page"}}},
      {"AlertsTable", {{'n', "ClientNo"}, {'s', "Domain"}, {'i', "StartNo"}}, {{'s', "Page"}, {'i', "StartNo"}}},
      {"HTMLHeader",
       {{'s', "Title"}, {'b', "NoRefreshStop"}, {'s', "BackColour"}},
       {{'s', "Page"}, {'s', "BackColour"}}},
      {"HTMLFooter", {}, {{'s', "Page"}}},
      {"GetVisitorsList", {{'s', "Domain"}}, {{'s', "List"}}},
      {"ExtractLogEntriesToFile", {{'s', "VisitorKey"}, {'n', "ClientNo"}}, {{'s', "FileName"}}}};
};

struct AutomationBusTest : ::testing::Test {
  int argc = 0;
  QCoreApplication application{argc, nullptr};
  PrivateBus daemon;
  PlainCalls calls;
  std::unique_ptr<SdBusAutomation> bus;

  void Open(int retry_ms = 50, int answer_ms = 10'000, bool system = false) {
    bus = std::make_unique<SdBusAutomation>(
        BusOptions{system, {daemon.Address(), system ? daemon.Address() : "", ""}, retry_ms, answer_ms});
    bus->Open(calls);
  }
  void OpenReady() {
    daemon.Start();
    Open();
    ASSERT_TRUE(TurnUntil([this] { return bus->Ready(); }));
  }
  static std::function<void(sd_bus_message*)> With(const char* types, int number, const char* text = "",
                                                   int second = 0) {
    return [=](sd_bus_message* m) {
      const std::string t = types;
      if (t == "n") sd_bus_message_append(m, types, number);
      if (t == "ns") sd_bus_message_append(m, types, number, text);
      if (t == "sn") sd_bus_message_append(m, types, text, number);
      if (t == "nn") sd_bus_message_append(m, types, number, second);
      if (t == "nsi") sd_bus_message_append(m, types, number, text, second);
      if (t == "s") sd_bus_message_append(m, types, text);
    };
  }
};

TEST(FindBus, FollowsTheEnvironment) {
  TempFolder folder;
  const std::string with_blank = folder.path + "run time";
  ASSERT_EQ(::mkdir(with_blank.c_str(), 0700), 0);
  EXPECT_EQ(FindBus(false, {"unix:path=/a", "unix:path=/b", with_blank}).address, "unix:path=/a");
  EXPECT_EQ(FindBus(true, {"unix:path=/a", "unix:path=/b", ""}).address, "unix:path=/b");
  EXPECT_EQ(FindBus(true, {"unix:path=/a", "", ""}).address, "unix:path=/run/dbus/system_bus_socket");
  EXPECT_EQ(FindBus(false, {"tcp:host=a;unix:abstract=x,guid=1;autolaunch:;unix:path=/y", "", ""}).address,
            "unix:abstract=x,guid=1;unix:path=/y");
  const BusPlace other = FindBus(false, {"autolaunch:", "", ""});
  EXPECT_EQ(other.address, "");
  EXPECT_TRUE(Contains(other.problem, "DBUS_SESSION_BUS_ADDRESS names no Unix socket")) << other.problem;
  EXPECT_EQ(FindBus(false, {"", "", ""}).address, "");
  EXPECT_TRUE(Contains(FindBus(false, {"", "unix:path=/b", with_blank}).problem, "XDG_RUNTIME_DIR"));
  std::ofstream(with_blank + "/bus") << "";
  const std::string address = FindBus(false, {"", "", with_blank}).address;
  EXPECT_TRUE(address.ends_with("/run%20time/bus")) << address;
}

TEST_F(AutomationBusTest, CallsReachTheProgramAndAnswersComeBack) {
  OpenReady();
  EXPECT_EQ(calls.ready, 1);
  EXPECT_TRUE(calls.notes.empty()) << calls.notes[0];
  EXPECT_FALSE(bus->HasCallers());
  BusProgram program(daemon.Address());
  using Values = std::vector<std::string>;
  EXPECT_EQ(program.Ask("LogFileName", With("n", -5)).values, Values{"page"});
  EXPECT_TRUE(bus->HasCallers());
  calls.count = 2'000'000'000;
  EXPECT_EQ(program.Ask("LogFileTotalSpiders", With("n", 1)).values, Values{"2000000000"});
  calls.count = -1;
  EXPECT_EQ(program.Ask("LogFileTotalSpiders", With("n", 1)).values, Values{"-1"});
  EXPECT_EQ(program.Ask("VisitorsTable", With("ns", 2, "a.example")).values, Values{"page"});
  EXPECT_EQ(program.Ask("SiteTable", With("nn", 2, "", 3)).values, Values{"page"});
  EXPECT_EQ(program.Ask("SitesTable", With("n", 2)).values, Values{"page"});
  calls.count = 70'000;
  EXPECT_EQ(program.Ask("AlertsTable", With("nsi", 2, "a.example", -70'000)).values, (Values{"page", "70000"}));
  const auto head = [](sd_bus_message* m) { sd_bus_message_append(m, "sbs", "Title", 1, "Red"); };
  EXPECT_EQ(program.Ask("HTMLHeader", head).values, (Values{"page", "page"}));
  EXPECT_EQ(program.Ask("HTMLFooter").values, Values{"page"});
  EXPECT_EQ(program.Ask("GetVisitorsList", With("s", 0, "a.example")).values, Values{"page"});
  EXPECT_EQ(program.Ask("ExtractLogEntriesToFile", With("sn", 2, "1:10.0.0.1")).values, Values{"page"});
  EXPECT_EQ(calls.asked,
            (Values{"LogFileName -5", "LogFileTotalSpiders 1", "LogFileTotalSpiders 1", "VisitorsTable 2 a.example",
                    "SiteTable 2 3", "SitesTable 2", "AlertsTable 2 a.example -70000", "HTMLHeader Title 1 Red",
                    "HTMLFooter", "GetVisitorsList a.example", "ExtractLogEntriesToFile 1:10.0.0.1 2"}));
}

TEST_F(AutomationBusTest, FailuresAreErrorsOfTheBus) {
  OpenReady();
  BusProgram program(daemon.Address());
  const auto bad = program.Ask("SitesTable", With("n", 0));
  EXPECT_EQ(bad.error, "org.freedesktop.DBus.Error.InvalidArgs");
  EXPECT_EQ(bad.words, "0 is no client");
  EXPECT_EQ(program.Ask("SitesTable", With("n", 99)).error, "org.freedesktop.DBus.Error.Failed");
  EXPECT_EQ(program.Ask("SitesTable", With("s", 0, "1")).error, "org.freedesktop.DBus.Error.InvalidArgs");
  EXPECT_EQ(program.Ask("Nothing").error, "org.freedesktop.DBus.Error.UnknownMethod");
  EXPECT_EQ(program.Ask("SitesTable", With("n", 1)).error, "");
  EXPECT_TRUE(bus->Ready());
}

TEST_F(AutomationBusTest, AnyBytesAreCarriedAsUtf8) {
  OpenReady();
  BusProgram program(daemon.Address());
  program.Listen();
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  for (const std::string& bytes : {all, std::string("\xEF\xBF\xBF\xEF\xB7\x90\xF4\x8F\xBF\xBF"),
                                   std::string("\xED\xA0\x80"), std::string("caf\xE9 \xC3\xA9")}) {
    calls.page = bytes;
    const auto answer = program.Ask("HTMLFooter");
    ASSERT_EQ(answer.error, "");
    EXPECT_EQ(answer.values[0], RepairUtf8(bytes));
    bus->VisitorPageMove(bytes, bytes, "time", bytes);
    bus->VisitorArrived({bytes, bytes, bytes, bytes, bytes, bytes, bytes, true});
    bus->DNSResolved("", "");
    ASSERT_TRUE(program.Wait([&] { return program.heard.size() == 3; }));
    const std::string text = "|" + RepairUtf8(bytes);
    EXPECT_EQ(program.heard,
              (std::vector<std::string>{"VisitorPageMove" + text + text + "|time" + text,
                                        "VisitorArrived" + text + text + text + text + text + text + text + "|1",
                                        "DNSResolved||"}));
    program.heard.clear();
  }
  EXPECT_TRUE(calls.notes.empty());
}

TEST_F(AutomationBusTest, APageBeyondTheLimitOfTheBusIsAnError) {
  daemon.Start();  // With the limits that the system's bus has.
  Open(50, 10'000, true);
  ASSERT_TRUE(TurnUntil([this] { return bus->Ready(); }));
  BusProgram program(daemon.Address());
  const size_t limit = 32 * 1024 * 1024 - 64 * 1024;
  calls.page.assign(limit, 'x');
  EXPECT_EQ(program.Ask("HTMLFooter").values.at(0).size(), limit);
  calls.page += 'x';
  const auto answer = program.Ask("HTMLFooter");
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.LimitsExceeded");
  EXPECT_TRUE(Contains(answer.words, std::to_string(limit))) << answer.words;
  calls.page.assign(limit / 2 + 1, '\xE9');  // Twice as long on the bus.
  EXPECT_EQ(program.Ask("HTMLFooter").error, "org.freedesktop.DBus.Error.LimitsExceeded");
  EXPECT_TRUE(bus->Ready());
  EXPECT_TRUE(calls.notes.empty());
}

TEST_F(AutomationBusTest, ManyCallsForLongPagesAreAllAnsweredInOrder) {
  OpenReady();
  BusProgram program(daemon.Address());
  calls.page.assign(300'000, 'p');
  std::vector<std::shared_ptr<BusProgram::Answer>> answers;
  for (int i = 0; i < 60; ++i) {
    answers.push_back(program.Send("/Interface", kInterfaceInterface, "LogFileName", With("n", i)));
  }
  ASSERT_TRUE(program.Wait([&] { return answers.back()->done; }));
  for (int i = 0; i < 60; ++i) {
    ASSERT_EQ(answers[static_cast<size_t>(i)]->values.at(0).size(), 300'000u);
    EXPECT_EQ(calls.asked[static_cast<size_t>(i)], "LogFileName " + std::to_string(i));
  }
}

TEST_F(AutomationBusTest, ACallerCountsUntilItLeavesTheBus) {
  OpenReady();
  auto first = std::make_unique<BusProgram>(daemon.Address());
  BusProgram second(daemon.Address());
  first->Listen();
  second.Listen();
  EXPECT_FALSE(bus->HasCallers()) << "who merely listens is no caller";
  first->Ask("HTMLFooter");
  const auto property =
      second.Send(kConnectorPath, "org.freedesktop.DBus.Properties", "GetAll", With("s", 0, kConnectorInterface));
  ASSERT_TRUE(second.Wait([&] { return property->done; }));
  EXPECT_EQ(property->error, "");
  first.reset();
  second.Ask("HTMLFooter");
  EXPECT_TRUE(bus->HasCallers());
  sd_bus_close(second.Bus());
  EXPECT_TRUE(TurnUntil([this] { return !bus->HasCallers(); }));
}

TEST_F(AutomationBusTest, ACallerGetsEveryEventAndNoCallIsServedInsideOne) {
  OpenReady();
  BusProgram program(daemon.Address());
  program.Listen();
  program.Ask("HTMLFooter");
  constexpr int kEvents = 6'000;
  const std::string page(10'000, 'p');
  std::vector<std::shared_ptr<BusProgram::Answer>> answers;
  // What the stopped bus does not take fills the queue, and an event waits for room.
  daemon.Pause();
  daemon.ResumeSoon();
  for (int i = 0; i < kEvents; ++i) {
    if (i % 100 == 0) {
      answers.push_back(program.Send("/Interface", kInterfaceInterface, "LogFileName", With("n", i)));
      program.Work();
    }
    calls.in_event = true;
    bus->VisitorPageMove("a.example", std::to_string(i), "", page);
    calls.in_event = false;
  }
  ASSERT_TRUE(program.Wait([&] { return program.heard.size() == kEvents && answers.back()->done; }));
  for (int i = 0; i < kEvents; ++i) {
    ASSERT_TRUE(
        StartsWith(program.heard[static_cast<size_t>(i)], "VisitorPageMove|a.example|" + std::to_string(i) + "|"));
  }
  EXPECT_EQ(calls.asked.size(), answers.size() + 1);
  EXPECT_TRUE(bus->Ready());
  EXPECT_TRUE(calls.notes.empty());
}

TEST_F(AutomationBusTest, ABusThatTakesNoEventsIsGivenUp) {
  OpenReady();
  BusProgram program(daemon.Address());
  program.Ask("HTMLFooter");
  daemon.Pause();
  const std::string page(10'000, 'p');
  for (int i = 0; i < 10'000 && bus->Ready(); ++i) bus->VisitorPageMove("a.example", "10.0.0.1", "", page);
  EXPECT_FALSE(bus->Ready());
  EXPECT_FALSE(bus->HasCallers());
  ASSERT_EQ(calls.notes.size(), 1u);
  EXPECT_TRUE(Contains(calls.notes[0], "takes no events")) << calls.notes[0];
  daemon.Resume();
  ASSERT_TRUE(TurnUntil([this] { return bus->Ready(); }));
  EXPECT_EQ(calls.notes.size(), 2u);
  EXPECT_EQ(calls.ready, 2);
}

TEST_F(AutomationBusTest, WithoutCallersABusThatTakesNothingIsNotWaitedFor) {
  OpenReady();
  daemon.Pause();
  const std::string page(10'000, 'p');
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < 2'000; ++i) bus->VisitorPageMove("a.example", "10.0.0.1", "", page);
  // One wait would give the bus up; none does.
  EXPECT_TRUE(bus->Ready()) << std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  daemon.Resume();
  BusProgram program(daemon.Address());
  EXPECT_EQ(program.Ask("HTMLFooter").error, "");
  EXPECT_TRUE(calls.notes.empty());
}

TEST_F(AutomationBusTest, AMissingBusIsToldOnceAndFoundWhenItComes) {
  Open(10);
  ASSERT_TRUE(TurnUntil([this] { return !calls.notes.empty(); }));
  EXPECT_TRUE(Contains(calls.notes[0], daemon.Address()) && Contains(calls.notes[0], "No such file")) << calls.notes[0];
  for (int i = 0; i < 50; ++i) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  EXPECT_EQ(calls.notes.size(), 1u);
  daemon.Start();
  ASSERT_TRUE(TurnUntil([this] { return bus->Ready(); }));
  ASSERT_EQ(calls.notes.size(), 2u);
  EXPECT_TRUE(Contains(calls.notes[1], "is back")) << calls.notes[1];
}

TEST_F(AutomationBusTest, ABusThatDiesIsToldOnceAndFoundAgain) {
  OpenReady();
  for (size_t i = 1; i <= 2; ++i) {
    daemon.End();
    ASSERT_TRUE(TurnUntil([this] { return !bus->Ready(); }));
    bus->VisitorLeft("a.example", "10.0.0.1");
    ASSERT_EQ(calls.notes.size(), 2 * i - 1);
    EXPECT_TRUE(Contains(calls.notes.back(), "went away")) << calls.notes.back();
    daemon.Start();
    ASSERT_TRUE(TurnUntil([this] { return bus->Ready(); }));
    EXPECT_EQ(calls.notes.size(), 2 * i);
    BusProgram program(daemon.Address());
    EXPECT_EQ(program.Ask("HTMLFooter").error, "");
  }
  EXPECT_EQ(calls.ready, 3);
}

TEST_F(AutomationBusTest, AnEventOnABrokenConnectionIsNoHarm) {
  OpenReady();
  daemon.End();
  for (int i = 0; i < 1'000; ++i) bus->VisitorLeft("a.example", "10.0.0.1");
  ASSERT_TRUE(TurnUntil([this] { return !bus->Ready(); }));
  EXPECT_EQ(calls.notes.size(), 1u);
}

TEST_F(AutomationBusTest, ATakenNameIsToldOnceAndTakenWhenItIsFree) {
  daemon.Start();
  auto owner = std::make_unique<BusProgram>(daemon.Address());
  bool owns = false;
  const auto answered = [](sd_bus_message*, void* data, sd_bus_error*) {
    *static_cast<bool*>(data) = true;
    return 0;
  };
  ASSERT_GE(sd_bus_request_name_async(owner->Bus(), nullptr, kBusName, 0, answered, &owns), 0);
  ASSERT_TRUE(owner->Wait([&] { return owns; }));
  Open(10);
  ASSERT_TRUE(owner->Wait([this] { return !calls.notes.empty(); }));
  EXPECT_TRUE(Contains(calls.notes[0], "another program")) << calls.notes[0];
  EXPECT_FALSE(bus->Ready());
  EXPECT_EQ(calls.ready, 0);
  owner.reset();
  ASSERT_TRUE(TurnUntil([this] { return bus->Ready(); }));
  EXPECT_EQ(calls.notes.size(), 2u);
  EXPECT_EQ(calls.ready, 1);
}

TEST_F(AutomationBusTest, ARefusedNameIsToldOnce) {
  daemon.Start("<policy context=\"mandatory\"><deny own=\"com.tressimond.Vantry\"/></policy>");
  Open(10);
  ASSERT_TRUE(TurnUntil([this] { return !calls.notes.empty(); }));
  for (int i = 0; i < 50; ++i) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  ASSERT_EQ(calls.notes.size(), 1u);
  EXPECT_TRUE(Contains(calls.notes[0], "refuses the name")) << calls.notes[0];
  EXPECT_TRUE(Contains(calls.notes[0], "docs/automation.md")) << calls.notes[0];
  EXPECT_FALSE(bus->Ready());
}

// Accepts callers and never says a word, or ends each call at once.
struct DumbSocket {
  TempFolder folder;
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::string path = folder.path + "dumb";
  DumbSocket() {
    sockaddr_un place{};
    place.sun_family = AF_UNIX;
    path.copy(place.sun_path, sizeof place.sun_path - 1);
    EXPECT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&place), sizeof place), 0);
    EXPECT_EQ(::listen(fd, 100), 0);
  }
  ~DumbSocket() { ::close(fd); }
};

TEST_F(AutomationBusTest, ASilentSocketIsToldOnceAndHoldsNobodyUp) {
  DumbSocket socket;
  bus = std::make_unique<SdBusAutomation>(BusOptions{false, {"unix:path=" + socket.path, "", ""}, 10, 20});
  bus->Open(calls);
  ASSERT_TRUE(TurnUntil([this] { return !calls.notes.empty(); }));
  EXPECT_TRUE(Contains(calls.notes[0], "does not answer")) << calls.notes[0];
  for (int i = 0; i < 30; ++i) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  EXPECT_EQ(calls.notes.size(), 1u);
  EXPECT_FALSE(bus->Ready());
  bus->Close();
}

TEST_F(AutomationBusTest, ASocketThatTalksNonsenseIsToldOnce) {
  DumbSocket socket;
  bus = std::make_unique<SdBusAutomation>(BusOptions{false, {"unix:path=" + socket.path, "", ""}, 10, 10'000});
  bus->Open(calls);
  ASSERT_EQ(::fcntl(socket.fd, F_SETFL, O_NONBLOCK), 0);
  int served = 0;
  ASSERT_TRUE(TurnUntil([&] {
    const int peer = ::accept(socket.fd, nullptr, nullptr);
    if (peer < 0) return served >= 3;
    const char words[] = "HTTP/1.0 200 OK\r\n\r\n\0\xFF\xFF";
    if (::send(peer, words, sizeof words, MSG_NOSIGNAL) > 0) ++served;
    ::close(peer);
    return false;
  }));
  ASSERT_EQ(calls.notes.size(), 1u);
  EXPECT_TRUE(Contains(calls.notes[0], "went away")) << calls.notes[0];
}

TEST_F(AutomationBusTest, NothingHappensAfterClose) {
  OpenReady();
  BusProgram program(daemon.Address());
  const auto answer = program.Send("/Interface", kInterfaceInterface, "HTMLFooter");
  program.Work();
  bus->Close();
  EXPECT_FALSE(bus->Ready());
  bus->VisitorLeft("a.example", "10.0.0.1");
  EXPECT_TRUE(program.Wait([&] { return answer->done; }));
  EXPECT_NE(answer->error, "");
  EXPECT_TRUE(calls.asked.empty());
  EXPECT_TRUE(calls.notes.empty());
}

}  // namespace
}  // namespace vantry
