#include "notify/mail_headers.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "core/text.h"
#include "core/text_encoding.h"

namespace vantry {
namespace {

constexpr size_t kMaxPlainRun = 60;  // A longer word, or row of blanks, can't be folded; encoded it can.

// One entry of a list of addresses.
struct Mailbox {
  std::string name;  // UTF-8, maybe empty.
  std::string address;
};

// UTF-8 without control characters and without blanks at its ends.
std::string Clean(std::string_view bytes) {
  return std::string(Trim(ToOneLine(bytes)));
}

bool IsAddress(std::string_view text) {
  constexpr std::string_view kNever = " <>()\",;\\";
  return !text.empty() && text.size() <= kMaxMailAddress && text.front() != '@' && text.back() != '@' &&
         text.find_first_of(kNever) == std::string_view::npos;
}

// Where the quoted text that begins at `open` ends; `open` itself when nothing closes it.
size_t ClosingQuote(std::string_view text, size_t open) {
  for (size_t i = open + 1; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      return i;
    }
  }
  return open;
}

// Cuts at commas and semicolons outside quotes.
std::vector<std::string_view> SplitList(std::string_view list) {
  std::vector<std::string_view> parts;
  bool quotes_pair = true;
  size_t begin = 0;
  for (size_t i = 0; i < list.size(); ++i) {
    if (list[i] == '"' && quotes_pair) {
      const size_t close = ClosingQuote(list, i);
      quotes_pair = close != i;
      i = close;
    } else if (list[i] == ',' || list[i] == ';') {
      parts.push_back(list.substr(begin, i - begin));
      begin = i + 1;
    }
  }
  parts.push_back(list.substr(begin));
  return parts;
}

// A name as it was meant, without the quotes around it.
std::string Unquoted(std::string_view text) {
  text = Trim(text);
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') return std::string(text);
  std::string out;
  for (size_t i = 1; i + 1 < text.size(); ++i) {
    if (text[i] == '\\' && i + 2 < text.size()) ++i;
    out += text[i];
  }
  return std::string(Trim(out));
}

// The address is empty when the entry holds none.
Mailbox ReadMailbox(std::string_view entry) {
  const std::string text = Clean(entry);
  std::string_view address = text, name;
  if (const size_t open = text.rfind('<'); open != std::string::npos) {
    name = std::string_view(text).substr(0, open);
    address = std::string_view(text).substr(open + 1);
    const size_t close = address.find('>');
    if (close == std::string_view::npos || close + 1 != address.size()) return {};
    address = Trim(address.substr(0, close));
  }
  if (!IsAddress(address)) return {};
  return {Unquoted(name), std::string(address)};
}

// Every mailbox of the list once. The case of a host doesn't matter; that of the part before it may.
std::vector<Mailbox> ReadMailboxes(std::string_view list) {
  std::vector<Mailbox> found;
  std::unordered_set<std::string> seen;
  for (const std::string_view entry : SplitList(list)) {
    Mailbox mailbox = ReadMailbox(entry);
    if (mailbox.address.empty()) continue;
    const size_t at = std::min(mailbox.address.rfind('@'), mailbox.address.size());
    if (seen.insert(mailbox.address.substr(0, at) + Lower(mailbox.address.substr(at))).second) {
      found.push_back(std::move(mailbox));
    }
  }
  return found;
}

// Whether a header may hold the text as it is.
bool IsPlain(std::string_view text) {
  size_t run = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    run = i > 0 && (text[i] == ' ') == (text[i - 1] == ' ') ? run + 1 : 1;
    if (run > kMaxPlainRun || (text[i] & 0x80) != 0) return false;
  }
  return !Contains(text, "=?");  // It would be read as an encoded word.
}

std::string HeaderText(std::string_view utf8) {
  return IsPlain(utf8) ? std::string(utf8) : EncodedWords(utf8);
}

std::string HeaderName(const std::string& name) {
  constexpr std::string_view kSpecials = "()<>[]:;@\\,.\"";
  if (!IsPlain(name) || name.find_first_of(kSpecials) == std::string::npos) return HeaderText(name);
  return '"' + ReplaceAll(ReplaceAll(name, "\\", "\\\\"), "\"", "\\\"") + '"';
}

std::string HeaderMailbox(const Mailbox& mailbox) {
  return mailbox.name.empty() ? mailbox.address : HeaderName(mailbox.name) + " <" + mailbox.address + ">";
}

std::string HeaderList(const std::vector<Mailbox>& list) {
  std::string out;
  for (const Mailbox& mailbox : list) out += (out.empty() ? "" : ", ") + HeaderMailbox(mailbox);
  return out;
}

// "Thu, 05 Mar 2026 12:00:00 +0100".
std::string HeaderDate(WallTime now, int32_t utc_offset) {
  constexpr const char* kDays[] = {"Sat", "Sun", "Mon", "Tue", "Wed", "Thu", "Fri"};
  constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const Day day = DayOf(now);
  const CivilDate date = ToCivil(day);
  const int32_t minutes = std::abs(utc_offset / 60);
  return std::string(kDays[day.n - FloorDiv(day.n, 7) * 7]) + ", " + PadNumber(date.day, 2) + " " +
         kMonths[date.month - 1] + " " + PadNumber(date.year, 4) + " " + FormatTime(SecondOfDay(now)) +
         (utc_offset < 0 ? " -" : " +") + PadNumber(minutes / 60 * 100 + minutes % 60, 4);
}

// The host of the address when it is one that every server knows how to read.
std::string MessageIdHost(std::string_view address) {
  const size_t at = address.rfind('@');
  const std::string_view host = at == std::string_view::npos ? "" : address.substr(at + 1);
  const bool plain = std::all_of(host.begin(), host.end(), [](char c) {
    return IsDigit(c) || (LowerAscii(c) >= 'a' && LowerAscii(c) <= 'z') || c == '-' || c == '.';
  });
  const bool odd = host.empty() || host.front() == '.' || host.back() == '.' || Contains(host, "..");
  return plain && !odd ? std::string(host) : "localhost";
}

std::string NewMessageId(WallTime now, std::string_view sender) {
  std::random_device random;
  std::string id = "<" + std::to_string(now.s);
  for (int i = 0; i < 2; ++i) id += "." + std::to_string(random());
  return id + "@" + MessageIdHost(sender) + ">";
}

}  // namespace

Status WriteMailHeaders(const MailDraft& draft, MailMessage& message) {
  const std::vector<Mailbox> to = ReadMailboxes(draft.to);
  if (to.empty()) {
    const std::string given = Clean(draft.to);
    return Status::Error(Fail::kBadData, "The mail has no recipient" +
                                             (given.empty() ? "" : ": no address in '" + given.substr(0, 200) + "'"));
  }
  Mailbox from = ReadMailbox(draft.from);
  if (from.address.empty()) from = to.front();
  message.sender = from.address;
  message.recipients.clear();
  for (const Mailbox& mailbox : to) message.recipients.push_back(mailbox.address);
  message.headers = {"Date: " + HeaderDate(draft.now, draft.utc_offset),
                     "From: " + HeaderMailbox(from),
                     "To: " + HeaderList(to),
                     "Subject: " + HeaderText(Clean(draft.subject)),
                     "Message-ID: " + NewMessageId(draft.now, from.address),
                     "Auto-Submitted: auto-generated"};
  return Status::Ok();
}

}  // namespace vantry
