#pragma once

#include <QSocketNotifier>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/bounded_queue.h"
#include "platform/posix_support.h"
#include "ports/programs.h"

namespace vantry {

// What is started runs on its own, in a session of its own, in our working folder: nobody waits for it, and the end of
// this program is not its end. Its input is empty, its output and errors go where ours go; it has no other descriptor
// of ours, no signal blocked and none ignored.
class ProgramStarter final : public Programs {
 public:
  // Programs that wait their turn; of more the oldest are dropped.
  static constexpr size_t kMostWaiting = 1'000, kMostWaitingBytes = 4'000'000;

  // The variables stand before those of our own environment, which stays as it is. Name and value end at a character
  // 0; a name that is empty or holds "=" is none and is ignored.
  void SetEnvironment(const std::string& name, const std::string& value) override;

  // A plain file that may be executed is started without arguments, any other plain file is opened by `xdg-open`. A
  // failure names the file, the reason and what can be done. Programs that can't be executed after all are failures;
  // what a program does once it runs is its own matter.
  Status Start(const std::string& path) override;

  Status Run(const std::string& program, const std::vector<std::string>& arguments,
             const Variables& variables) override;

  // A program has ended when its own process has, whatever that leaves behind. The ends are noticed on the loop, so a
  // QCoreApplication must exist.
  void Limit(int32_t most, std::function<void(std::string_view text)> tell) override;

  size_t Running() const { return running_.size(); }
  size_t Waiting() const { return waiting_.Rows(); }

 private:
  struct Waiter {
    std::string path;
    Variables variables;
  };
  struct RunningProgram {
    std::unique_ptr<Descriptor> process;
    std::unique_ptr<QSocketNotifier> notifier;
  };
  Status StartNow(const std::string& path, const Variables& variables);
  void Wait(const std::string& path);
  void Watch(int process);
  void HasEnded(int process);

  Variables variables_;
  size_t most_ = 0;
  std::function<void(std::string_view)> tell_;
  std::map<int, RunningProgram> running_;  // By the descriptor of their process.
  BoundedQueue<Waiter> waiting_{kMostWaiting, kMostWaitingBytes};
  bool dropping_ = false;  // Told, and the line has not been empty since.
};

struct ProgramCall {
  std::string program;  // Path.
  std::vector<std::string> arguments = {};
  Variables variables = {};
  bool silent = false;  // Its output and errors go nowhere.
};

// Starts a program in the same manner. kNotFound if it does not exist, kIo for any other failure to start. `process`
// gets a descriptor that can be read once the program has ended, -1 where the system has none.
Status StartProgram(const ProgramCall& call, int* process = nullptr);

// The path of the first executable file of this name in the folders of PATH, which is taken of `variables` first; empty
// if there is none.
std::string FindProgram(const std::string& name, const Variables& variables = {});

// A path as an argument that no program mistakes for an option.
std::string AsArgument(const std::string& path);

}  // namespace vantry
