// A message bus of a test's own, and programs on it.
#pragma once

#include <QCoreApplication>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include "support/temp_folder.h"

extern char** environ;

namespace vantry {

// Turns the loop until `done`; false after 30 s.
inline bool TurnUntil(const std::function<bool()>& done) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  }
  return true;
}

// A real bus; without limits of its own in `more`, it has those of the system's bus.
class PrivateBus {
 public:
  ~PrivateBus() { End(); }
  std::string Socket() const { return folder_.path + "bus"; }
  std::string Address() const { return "unix:path=" + Socket(); }

  void Start(const std::string& more = "") {
    const std::string config = folder_.path + "bus.conf";
    std::ofstream(config) << "<busconfig><type>session</type><keep_umask/><listen>" << Address()
                          << "</listen><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
                             "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy>"
                          << more << "</busconfig>";
    const std::string option = "--config-file=" + config;
    std::vector<std::string> words = {"dbus-daemon", "--nofork", "--nosyslog", option};
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    ASSERT_EQ(::posix_spawnp(&pid_, "dbus-daemon", nullptr, nullptr, arguments.data(), environ), 0);
    ASSERT_TRUE(TurnUntil([this] { return Accepts(); }));
  }
  void Pause() { ::kill(pid_, SIGSTOP); }
  void Resume() { ::kill(pid_, SIGCONT); }
  // In 300 ms, whatever this program does then.
  void ResumeSoon() {
    static pid_t stopped;
    stopped = pid_;
    std::signal(SIGALRM, [](int) { ::kill(stopped, SIGCONT); });
    const itimerval soon{{0, 0}, {0, 300'000}};
    ::setitimer(ITIMER_REAL, &soon, nullptr);
  }
  void End() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    pid_ = 0;
    ::unlink(Socket().c_str());
  }

 private:
  bool Accepts() const {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un place{};
    place.sun_family = AF_UNIX;
    Socket().copy(place.sun_path, sizeof place.sun_path - 1);
    const bool accepts = ::connect(fd, reinterpret_cast<sockaddr*>(&place), sizeof place) == 0;
    ::close(fd);
    return accepts;
  }
  TempFolder folder_;
  pid_t pid_ = 0;
};

// Another program on the bus. It works while a test waits for it.
class BusProgram {
 public:
  explicit BusProgram(const std::string& address) {
    EXPECT_GE(sd_bus_new(&bus_), 0);
    sd_bus_set_address(bus_, address.c_str());
    sd_bus_set_bus_client(bus_, 1);
    EXPECT_GE(sd_bus_start(bus_), 0);
  }
  ~BusProgram() { sd_bus_close_unref(bus_); }
  sd_bus* Bus() { return bus_; }

  // What came back: the name of an error, or "" and the texts and numbers of the answer.
  struct Answer {
    bool done = false;
    std::string error, words;
    std::vector<std::string> values;
  };
  // `append` adds the arguments.
  std::shared_ptr<Answer> Send(const char* path, const char* interface, const char* member,
                               const std::function<void(sd_bus_message*)>& append = {},
                               const char* name = "com.tressimond.Vantry") {
    sd_bus_message* m = nullptr;
    EXPECT_GE(sd_bus_message_new_method_call(bus_, &m, name, path, interface, member), 0);
    if (append) append(m);
    auto answer = std::make_shared<Answer>();
    answers_.push_back(answer);
    const auto replied = [](sd_bus_message* reply, void* data, sd_bus_error*) {
      auto& a = *static_cast<Answer*>(data);
      if (const sd_bus_error* error = sd_bus_message_get_error(reply)) {
        a.error = error->name;
        a.words = error->message;
      } else {
        a.values = Values(reply);
      }
      a.done = true;
      return 0;
    };
    EXPECT_GE(sd_bus_call_async(bus_, nullptr, m, replied, answer.get(), 0), 0);
    sd_bus_message_unref(m);
    return answer;
  }
  Answer Ask(const char* member, const std::function<void(sd_bus_message*)>& append = {}) {
    const auto answer = Send("/Interface", "com.tressimond.Vantry.Interface", member, append);
    EXPECT_TRUE(Wait([&] { return answer->done; })) << member;
    return *answer;
  }
  bool Wait(const std::function<bool()>& done) {
    return TurnUntil([&] {
      Work();
      return done();
    });
  }
  void Work() {
    while (sd_bus_process(bus_, nullptr) > 0) {
    }
  }
  // From now on each event is kept as its name and its texts. Returns when the bus knows.
  void Listen() {
    const auto hear = [](sd_bus_message* m, void* data, sd_bus_error*) {
      std::string line = sd_bus_message_get_member(m);
      for (const std::string& value : Values(m)) line += "|" + value;
      static_cast<BusProgram*>(data)->heard.push_back(line);
      return 0;
    };
    const auto known = [](sd_bus_message*, void* data, sd_bus_error*) {
      static_cast<BusProgram*>(data)->listening_ = true;
      return 0;
    };
    EXPECT_GE(sd_bus_add_match_async(bus_, nullptr, "type='signal',interface='com.tressimond.Vantry.Interface'", hear,
                                     known, this),
              0);
    EXPECT_TRUE(Wait([this] { return listening_; }));
  }
  std::vector<std::string> heard;

 private:
  static std::vector<std::string> Values(sd_bus_message* m) {
    std::vector<std::string> values;
    char type = 0;
    while (sd_bus_message_peek_type(m, &type, nullptr) > 0) {
      const char* text = nullptr;
      int32_t number = 0;
      if (type == 'a') {
        if (sd_bus_message_skip(m, nullptr) < 0) break;
        values.emplace_back("array");
      } else if (type == 's' || type == 'o') {
        sd_bus_message_read_basic(m, type, &text);
        values.emplace_back(text);
      } else {
        sd_bus_message_read_basic(m, type, &number);
        values.push_back(std::to_string(number));
      }
    }
    return values;
  }
  sd_bus* bus_ = nullptr;
  bool listening_ = false;
  std::vector<std::shared_ptr<Answer>> answers_;  // sd-bus holds pointers to them.
};

}  // namespace vantry
