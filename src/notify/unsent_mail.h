// Mails that no server has taken yet, in a bounded file of the data folder, so that neither a server that is away nor
// the end of the program costs one. See docs/formats/unsent-mail.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "core/status.h"
#include "ports/data_files.h"
#include "ports/files.h"
#include "ports/mail.h"

namespace vantry {

inline constexpr char kUnsentName[] = "Unsent.mail";
inline constexpr size_t kUnsentHeadBytes = 40;

// One record of the file: what a mail is, without its server and its login, which are those of the settings.
std::string FormatUnsentMail(const MailMessage& message);

// Reads the record at the beginning of `bytes`. 0 when there is none or not all of one; otherwise its size. `waiting`
// is false for one whose mail has gone.
size_t ParseUnsentMail(std::string_view bytes, MailMessage& message, bool& waiting);

class UnsentMails {
 public:
  // Of more the oldest are dropped.
  static constexpr size_t kMost = 1'000, kMostBytes = 16'000'000;

  struct Mail {
    uint64_t number = 0;  // Never used twice in a run.
    int64_t position = 0;
    size_t bytes = 0;
    int tries = 0;       // That were refused for now, in this run.
    int cut_off = 0;     // Tries that met no server, or that it broke off.
    int64_t due_ms = 0;  // Not to be tried before; of the steady clock.
  };

  // The file is in this folder ("/" at its end).
  UnsentMails(const std::string& folder, Files& files, DataFiles& data_files)
      : folder_(folder), files_(files), data_files_(data_files) {}

  // Opens the file and takes up what an earlier run left in it. A call without success may be repeated.
  Status Open();
  bool IsOpen() const { return file_ != nullptr; }

  // The last of the mails is this one when it returns. Survives the end of the program.
  Status Add(const MailMessage& message);
  Status Read(const Mail& mail, MailMessage& message);
  // The mail has gone, or never will.
  Status Remove(uint64_t number);

  // In the order in which they came.
  std::deque<Mail>& Mails() { return mails_; }
  Mail* Find(uint64_t number);
  // How many were dropped since the last call.
  int64_t TakeDropped();

 private:
  std::string Path() const { return folder_ + kUnsentName; }
  Status Take(const std::string& bytes);
  Status MakeRoom(size_t bytes);

  const std::string& folder_;
  Files& files_;
  DataFiles& data_files_;
  std::unique_ptr<DataFile> file_;
  std::deque<Mail> mails_;
  int64_t end_ = 0;  // Of the file.
  uint64_t last_number_ = 0;
  int64_t dropped_ = 0;
};

}  // namespace vantry
