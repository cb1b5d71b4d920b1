// Logs on other machines: logs on, picks the current file, and turns what is fetched into lines.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ports/ftp.h"
#include "scan/chunk_cutter.h"
#include "scan/scan_context.h"
#include "scan/scan_cycle.h"

namespace vantry {

// Cuts the first line off the text. Empty when there is no whole line, when the line end is the text's last character
// (nothing tells then whether it is half of one), or when the line is blank; the text stays as it is in the first two.
std::string_view FTPNextLine(std::string_view& text);

// What the status line says of a number of received bytes.
std::string ReceivedText(int64_t count);

// The date stamp in the time text of a directory entry; a year of 00 is this year. Empty if it is not a date.
std::optional<LogTime> FtpStamp(std::string_view text, WallTime now);

// The number after a reply of code 213; 0 for any other reply.
int64_t SizeInReply(std::string_view reply);

class RemoteLogs final : public FtpFetch {
 public:
  RemoteLogs(ScanContext& c, ScanCycle& scan, Ftp& ftp);
  ~RemoteLogs() override;

  void PrepareFetch(int16_t site, bool look_up, std::function<void()> prepared) override;
  bool FTPConnect(int16_t site) override;
  void FTPClose(int16_t site) override;
  std::string FTPGetFileName(int16_t site) override;
  std::string Trouble(int16_t site) override;
  void StartDownload(int16_t site, int64_t start_byte, int timeout_s) override;
  // The end of the program: interrupts what is under way, in site order.
  void Unload();

 private:
  struct Element;
  Element& At(int16_t site);
  // The classic handling of chunks has one position for all lines of a chunk, so that it can't stop before one of them.
  bool ReadsWholeLines() const { return scan_.ReadsWholeLines() || t_.Corrected.CatchUpRollover; }
  void LogOn(int16_t site);
  void LookUp(int16_t site);
  void LookForLeft(int16_t site);
  void NoteRotated(int16_t site, const FtpEntry& entry);
  void LeaveLog(int16_t site);
  bool IsUnsized(int16_t site);
  void Prepared(int16_t site);
  void Done(int16_t site, const Status& status);
  void DirectoryEntry(int16_t site, const FtpEntry& entry);
  void Transfer(int16_t site, int64_t count, std::string_view bytes);
  void TakeChunk(int16_t site, int64_t count, std::string_view chunk);
  void TakeWholeLines(int16_t site, int64_t count, std::string_view bytes);
  bool TakeWholeLine(int16_t site, std::string_view line, std::string_view ahead);
  void EndOfTransfer(int16_t site);
  void TakePartialLine(int16_t site);
  void CloseFetch(int16_t site);
  void Error(int16_t site, int code, const Status& status);
  void ReportConnect(int16_t site, const std::string& description);
  void FTPStatus(std::string_view text) { c_.view.SetStatus(text); }
  void TraceLine(int16_t site, std::string_view text);

  ScanContext& c_;
  LiveTables& t_;
  ScanCycle& scan_;
  Ftp& ftp_;
  std::vector<std::unique_ptr<Element>> elements_;  // By site number less one; null before the first logon.
};

}  // namespace vantry
