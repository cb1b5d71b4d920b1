#include "scan/remote_logs.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

#include "core/text.h"
#include "core/wildcard.h"
#include "logs/line_reader.h"
#include "scan/rotated_name.h"

namespace vantry {
namespace {

// Connection aborted and connection reset: what happens to every long transfer one day. The next scan goes on.
constexpr int kAborted = 10'053, kReset = 10'054;

bool HasWildcard(std::string_view mask) {
  return mask.find_first_of("*?") != std::string_view::npos;
}

// As the names of local logs, but for "*.*", which wants a dot.
bool FitsRemoteMask(std::string_view name, std::string_view mask) {
  return mask == "*.*" ? Contains(name, ".") : FitsFileMask(name, mask);
}

// What is packed can't be read on from a position.
bool EndsWithGz(std::string_view name) {
  return name.ends_with(".gz");
}

FtpLogon LogonOf(const SiteRec& site) {
  return {site.FTPDomain, site.FTPUserName, site.FTPPassword, site.FTPPassive};
}

}  // namespace

// One client and what it was asked, by site. The element lives as long as the program.
struct RemoteLogs::Element final : FtpEvents {
  Element(RemoteLogs& owner, int16_t number) : logs(owner), site(number), client(owner.ftp_.NewClient(*this)) {}

  bool TakesEvents() override {
    return !logs.t_.Closing && (!logs.t_.ScanInProgress || logs.scan_.OpenFetch() == site);
  }
  void Done(const Status& status) override { logs.Done(site, status); }
  void DirectoryEntry(const FtpEntry& entry) override { logs.DirectoryEntry(site, entry); }
  void StartOfTransfer() override { logs.t_.Site(site).FTPScanOK = true; }
  void Transfer(int64_t count, std::string_view chunk) override { logs.Transfer(site, count, chunk); }
  void EndOfTransfer() override { logs.EndOfTransfer(site); }
  void Error(int code, const Status& status) override { logs.Error(site, code, status); }
  void ProtocolTrail(FtpTrail, std::string_view message) override { logs.TraceLine(site, message); }

  enum class Step { kNone, kLogOn, kSize, kList, kLinkSize, kRotated };

  RemoteLogs& logs;
  int16_t site;
  std::unique_ptr<FtpClient> client;
  FtpLogon logon;  // With which the client was told to log on last.
  Step step = Step::kNone;
  bool look_up = false;
  bool best_is_link = false;
  // With FollowRotation: what the last log is called now, whose rest is read before its successor.
  std::string left, rotated;
  LogTime rotated_date;
  bool left_is_read = false;
  std::function<void()> prepared;
  Status logged_on, looked_up;
  std::string told;  // The trouble with the server that was told last.
  ChunkCutter cutter;
};

RemoteLogs::RemoteLogs(ScanContext& c, ScanCycle& scan, Ftp& ftp) : c_(c), t_(c.t), scan_(scan), ftp_(ftp) {}

RemoteLogs::~RemoteLogs() = default;

RemoteLogs::Element& RemoteLogs::At(int16_t n) {
  const auto i = static_cast<size_t>(n - 1);
  if (elements_.size() <= i) elements_.resize(i + 1);
  if (!elements_[i]) elements_[i] = std::make_unique<Element>(*this, n);
  t_.Site(n).FTPLoaded = true;
  return *elements_[i];
}

void RemoteLogs::PrepareFetch(int16_t n, bool look_up, std::function<void()> prepared) {
  Element& e = At(n);
  e.prepared = std::move(prepared);
  e.look_up = look_up;
  e.logged_on = e.looked_up = Status::Ok();
  e.left.clear();
  e.rotated.clear();
  e.rotated_date = {};
  LogOn(n);
}

// A logon that still stands is used again, unless it was to another server or by another name.
void RemoteLogs::LogOn(int16_t n) {
  Element& e = At(n);
  FtpLogon logon = LogonOf(t_.Site(n));
  if (e.client->Connected() && e.logon == logon) return e.look_up ? LookUp(n) : Prepared(n);
  e.client->LogOff();
  e.logon = std::move(logon);
  e.step = Element::Step::kLogOn;
  e.client->LogOn(e.logon);
}

void RemoteLogs::LookUp(int16_t n) {
  Element& e = At(n);
  SiteRec& site = t_.Site(n);
  if (!HasWildcard(site.Mask)) {
    e.step = Element::Step::kSize;
    return e.client->Size(site.FTPPath, site.Mask);
  }
  site.FTPListing = true;
  site.FTPBestFile.clear();
  e.best_is_link = false;
  if (t_.Corrected.FreshBestDate) site.FTPBestDate = {};
  e.step = Element::Step::kList;
  e.client->List(site.FTPPath);
}

void RemoteLogs::Prepared(int16_t n) {
  At(n).step = Element::Step::kNone;
  std::exchange(At(n).prepared, nullptr)();
}

void RemoteLogs::Done(int16_t n, const Status& status) {
  Element& e = At(n);
  switch (e.step) {
    case Element::Step::kLogOn:
      e.logged_on = status;
      return status.ok() && e.look_up ? LookUp(n) : Prepared(n);
    case Element::Step::kList:
      EndOfTransfer(n);
      e.looked_up = status;
      // The listing tells the size of the link itself.
      if (!status.ok() || !e.best_is_link) return LookForLeft(n);
      e.step = Element::Step::kLinkSize;
      return e.client->Size(t_.Site(n).FTPPath, t_.Site(n).FTPBestFile);
    case Element::Step::kSize:
    case Element::Step::kLinkSize:
      e.looked_up = status;
      if (status.ok()) t_.Site(n).FTPFileSize = SizeInReply(e.client->LastReply());
      return LookForLeft(n);
    case Element::Step::kRotated:
      e.left = e.rotated;
      return Prepared(n);
    case Element::Step::kNone:
      return;
  }
}

// What was added to a log between its last scan and its rotation is read first, under the name that it has now.
void RemoteLogs::LookForLeft(int16_t n) {
  Element& e = At(n);
  const SiteRec& site = t_.Site(n);
  const bool listed = HasWildcard(site.Mask);
  const bool follows =
      t_.Corrected.FollowRotation && e.looked_up.ok() && site.LastReadPos > 0 && !std::exchange(e.left_is_read, false);
  if (follows && listed && !site.FTPBestFile.empty() && site.FTPBestFile != site.LastLogFile) {
    e.left = site.LastLogFile;
  } else if (follows && !IsUnsized(n) && site.LastReadPos > site.FTPFileSize) {
    e.left = e.rotated;
    if (!listed) {
      e.step = Element::Step::kRotated;
      return e.client->List(site.FTPPath);
    }
  }
  Prepared(n);
}

// A server that refuses SIZE gives a size of 0.
bool RemoteLogs::IsUnsized(int16_t n) {
  const SiteRec& site = t_.Site(n);
  return t_.Corrected.ResumeUnsized && site.FTPFileSize == 0 && (!HasWildcard(site.Mask) || At(n).best_is_link);
}

void RemoteLogs::NoteRotated(int16_t n, const FtpEntry& entry) {
  Element& e = At(n);
  const SiteRec& site = t_.Site(n);
  if (entry.is_folder || entry.is_link || entry.size_bytes < site.LastReadPos) return;
  if (EndsWithGz(entry.name) || !IsRotatedName(entry.name, site.LastLogFile, site.Mask)) return;
  const LogTime date = FtpStamp(entry.time_text, c_.clock.Now()).value_or(LogTime{});
  if (date < e.rotated_date) return;
  e.rotated = entry.name;
  e.rotated_date = date;
}

bool RemoteLogs::FTPConnect(int16_t n) {
  Element& e = At(n);
  if (e.logged_on.ok()) {
    e.told.clear();
    return true;
  }
  ReportConnect(n, e.logged_on.text);
  return false;
}

void RemoteLogs::ReportConnect(int16_t n, const std::string& description) {
  Element& e = At(n);
  if (t_.Corrected.TellFetchOnce && std::exchange(e.told, description) == description) return;
  if (t_.ServiceMode) {
    c_.log.AddLogEvent("FTP Connect:" + description, EventLevel::kError);
  } else {
    c_.notices.MessageBox(BoxKind::kCritical, "FTP Connect: " + description);
  }
  c_.log.WriteProgramLog("FTP Connect: " + description, false);
}

std::string RemoteLogs::Trouble(int16_t n) {
  const Element& e = At(n);
  return e.logged_on.ok() ? e.looked_up.text : e.logged_on.text;
}

void RemoteLogs::FTPClose(int16_t n) {
  t_.Site(n).FTPPartialLine.clear();
  if (t_.Site(n).FTPLoaded) At(n).client->LogOff();
}

std::string RemoteLogs::FTPGetFileName(int16_t n) {
  if (!FTPConnect(n)) return {};
  Element& e = At(n);
  if (!e.looked_up.ok()) {
    const bool known = t_.Corrected.TellFetchOnce && std::exchange(e.told, e.looked_up.text) == e.looked_up.text;
    if (!known) c_.log.ReportError(e.looked_up.text, "frmFTP.FTPGetFileName");
    return {};
  }
  SiteRec& site = t_.Site(n);
  if (!e.left.empty()) return site.LastLogFile;
  // In the classic way a log without a size is read from its start at each look-up.
  if (site.LastReadPos > site.FTPFileSize && !IsUnsized(n)) site.LastReadPos = site.LastReadPosDay = 0;
  return HasWildcard(site.Mask) ? site.FTPBestFile : site.Mask;
}

void RemoteLogs::DirectoryEntry(int16_t n, const FtpEntry& entry) {
  SiteRec& site = t_.Site(n);
  if (t_.Corrected.FollowRotation) NoteRotated(n, entry);
  if (!site.FTPListing) return;
  if (entry.is_folder || !FitsRemoteMask(entry.name, site.Mask)) return;
  bool chosen = false;
  if (!entry.time_text.empty() && site.SelectMethod == FileChoice::kByDate) {
    const auto stamp = FtpStamp(entry.time_text, c_.clock.Now());
    if (!stamp) return;
    chosen = *stamp >= site.FTPBestDate;  // A tie goes to the later entry.
    if (chosen) site.FTPBestDate = *stamp;
    TraceLine(n, entry.name + " " + c_.regional.General(*stamp));
  } else {
    chosen = entry.name > site.FTPBestFile;
    TraceLine(n, entry.time_text + " " + entry.name);
  }
  if (!chosen) return;
  site.FTPBestFile = entry.name;
  site.FTPFileSize = entry.size_bytes;
  At(n).best_is_link = entry.is_link;
}

void RemoteLogs::TraceLine(int16_t n, std::string_view text) {
  if (t_.ShowTraceView) c_.log.AddTrace(n, text);
}

void RemoteLogs::StartDownload(int16_t n, int64_t start_byte, int timeout_s) {
  Element& e = At(n);
  SiteRec& site = t_.Site(n);
  e.cutter.Begin();
  site.FTPPartialLine.clear();
  e.client->Download({site.FTPPath, e.left.empty() ? site.LastLogFile : e.left, start_byte, timeout_s});
}

void RemoteLogs::Transfer(int16_t n, int64_t count, std::string_view bytes) {
  const ScanCycle::FetchTurn turn(scan_, n);
  if (ReadsWholeLines()) return TakeWholeLines(n, count, bytes);
  At(n).cutter.Feed(count, bytes, [&](int64_t at, std::string_view chunk) { TakeChunk(n, at, chunk); });
}

void RemoteLogs::TakeChunk(int16_t n, int64_t count, std::string_view chunk) {
  FTPStatus("Receiving:" + ReceivedText(count));
  SiteRec& site = t_.Site(n);
  if (count < site.LastReadPos) return;
  HitRec& hit = t_.Hit;
  for (std::string_view line = FTPNextLine(chunk);; line = FTPNextLine(chunk)) {
    if (line.empty()) {
      if (!chunk.empty() && chunk.front() != '\0') site.FTPPartialLine += chunk;
      return;
    }
    hit.CurPos = count;
    const bool joined = !site.FTPPartialLine.empty();
    if (joined) hit.CurLine = std::exchange(site.FTPPartialLine, {}).append(line);
    scan_.TakeFetchedLine(n, joined ? std::string_view(hit.CurLine) : line, chunk);
  }
}

// Lines end with LF, or in logs that are not of Unix with CR too. Each moves the position to its own end.
void RemoteLogs::TakeWholeLines(int16_t n, int64_t count, std::string_view bytes) {
  FTPStatus("Receiving:" + ReceivedText(count));
  SiteRec& site = t_.Site(n);
  std::string& half = site.FTPPartialLine;
  while (!bytes.empty()) {
    const size_t end = site.Unix ? bytes.find('\n') : FindLineEnd(bytes);
    const std::string_view part = bytes.substr(0, end);
    const size_t room = LineReader::kMaxLine - std::min(LineReader::kMaxLine, half.size());
    if (end == std::string_view::npos) {
      half += part.substr(0, room);
      return;
    }
    bytes.remove_prefix(end + 1);
    t_.Hit.CurPos = count - static_cast<int64_t>(bytes.size());
    if (half.empty()) {
      if (!TakeWholeLine(n, part.substr(0, room), bytes)) return;
      continue;
    }
    const std::string line = std::exchange(half, {}).append(part.substr(0, room));
    if (!TakeWholeLine(n, line, bytes)) return;
  }
}

// False when the rest of the transfer is not wanted: a line of the coming day waits for the rollover.
bool RemoteLogs::TakeWholeLine(int16_t n, std::string_view line, std::string_view ahead) {
  if (scan_.TakeFetchedLine(n, line, ahead)) {
    t_.Site(n).LastReadPos = t_.Hit.CurPos;
    return true;
  }
  At(n).client->LogOff();
  CloseFetch(n);
  return false;
}

void RemoteLogs::EndOfTransfer(int16_t n) {
  SiteRec& site = t_.Site(n);
  if (std::exchange(site.FTPListing, false)) return;
  const ScanCycle::FetchTurn turn(scan_, n);
  if (!ReadsWholeLines()) {
    At(n).cutter.Finish([&](int64_t at, std::string_view chunk) { TakeChunk(n, at, chunk); });
    TakePartialLine(n);
  }
  CloseFetch(n);
}

void RemoteLogs::TakePartialLine(int16_t n) {
  const std::string left = std::exchange(t_.Site(n).FTPPartialLine, {});
  std::string_view rest = left;
  for (std::string_view line = FTPNextLine(rest); !line.empty(); line = FTPNextLine(rest)) {
    scan_.Hits().SplitLine(line, n);
  }
}

// The successor is read next.
void RemoteLogs::LeaveLog(int16_t n) {
  Element& e = At(n);
  if (e.left.empty()) return;
  e.left.clear();
  e.left_is_read = true;
  t_.Site(n).ForceLookup = true;
}

void RemoteLogs::CloseFetch(int16_t n) {
  LeaveLog(n);
  scan_.EndScan(n);
  SiteRec& site = t_.Site(n);
  site.LastScanTime = c_.clock.Now();
  site.FTPScanOK = false;
  site.FTPPartialLine.clear();
  t_.Hit.CurLine.clear();
  FTPStatus("");
  scan_.FetchOver(n);
}

void RemoteLogs::Error(int16_t n, int code, const Status& status) {
  const bool silent = code == kAborted || code == kReset;
  const ScanCycle::FetchTurn turn(scan_, n);
  if (!silent) {
    c_.log.AddTrace(n, "FTP ERROR:" + status.text);
    FTPStatus(status.text);
  }
  LeaveLog(n);
  // A log that is gone, or shorter than what was read of it, was rotated.
  const bool rotated = status.fail == Fail::kNotFound || status.fail == Fail::kBadData;
  if (t_.Corrected.FollowRotation && rotated) t_.Site(n).ForceLookup = true;
  scan_.FailFetch(n, silent ? Status::Error(status.fail, "") : status);
}

void RemoteLogs::Unload() {
  for (const auto& element : elements_) {
    if (element) element->client->LogOff();
  }
}

std::string_view FTPNextLine(std::string_view& text) {
  const size_t end = FindLineEnd(text);
  if (end == std::string_view::npos || end + 1 == text.size()) return {};
  const std::string_view line = text.substr(0, end);
  const char next = text[end + 1];
  text.remove_prefix(end + (next == '\r' || next == '\n' ? 2 : 1));
  return line;
}

std::string ReceivedText(int64_t count) {
  if (count < 10'001) return std::to_string(count) + "Bytes";
  if (count <= 1'000'000) return std::to_string((count + 500) / 1'000) + "K";
  const int64_t hundredths = (count + 5'000) / 10'000;
  return std::to_string(hundredths / 100) + "." + PadNumber(hundredths % 100, 2) + "Mb";
}

int64_t SizeInReply(std::string_view reply) {
  if (reply.substr(0, 3) != "213" || reply.size() < 5) return 0;
  const std::string_view digits = Trim(reply.substr(4));
  int64_t n = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), n);
  if (error == std::errc::result_out_of_range) return std::numeric_limits<int64_t>::max();
  return std::max<int64_t>(n, 0);
}

std::optional<LogTime> FtpStamp(std::string_view text, WallTime now) {
  if (!Contains(text, "-")) {
    const auto words = Split(text, ' ');
    if (words.size() < 3) return std::nullopt;
    std::string date(words[0]);
    date.append("/").append(words[1]).append("/").append(words[2]);
    const auto day = ParseNamedMonthDate(date);
    if (!day) return std::nullopt;
    const auto time = words.size() > 3 ? ParseTime(words[3]) : std::optional(0);
    return time ? std::optional(MakeLogTime(*day, *time)) : std::nullopt;
  }
  const auto number = [text](size_t place) { return LeadingNumber(text.substr(std::min(place, text.size()), 2)); };
  const int month = number(0), day = number(3), year = number(6);
  const auto first = MakeDay(year == 0 ? ToCivil(DayOf(now)).year : FullYear(year), month, 1);
  const size_t blank = text.find(' ');
  const auto time = blank == std::string_view::npos ? std::optional(0) : ParseTime(text.substr(blank));
  if (!first || day < 1 || day > 31 || !time) return std::nullopt;
  return MakeLogTime({first->n + day - 1}, *time);
}

}  // namespace vantry
