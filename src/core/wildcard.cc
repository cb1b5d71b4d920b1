#include "core/wildcard.h"

#include <string>

#include "core/text.h"

namespace vantry {
namespace {

constexpr size_t kNone = std::string_view::npos;

// One element of the pattern at `at`: where it ends, and how it matches a character.
struct Element {
  size_t end = 0;
  bool star = false, nothing = false, bad = false;
  size_t list_begin = 0, list_end = 0;  // Of a bracket list, without the brackets and the "!".
  bool is_list = false, negated = false;
};

Element ReadElement(std::string_view pattern, size_t at) {
  Element e;
  e.end = at + 1;
  if (pattern[at] == '*') e.star = true;
  if (pattern[at] != '[') return e;
  const size_t close = pattern.find(']', at + 1);
  if (close == kNone) {
    e.bad = true;
    return e;
  }
  e.end = close + 1;
  e.is_list = true;
  e.negated = pattern[at + 1] == '!' && close > at + 2;
  e.list_begin = at + 1 + (e.negated ? 1 : 0);
  e.list_end = close;
  e.nothing = e.list_begin == e.list_end;
  for (size_t i = e.list_begin; i + 2 < e.list_end; ++i) {
    if (pattern[i + 1] == '-') {
      if (static_cast<unsigned char>(pattern[i]) > static_cast<unsigned char>(pattern[i + 2])) e.bad = true;
      i += 2;
    }
  }
  return e;
}

bool InList(std::string_view list, char c) {
  const auto u = static_cast<unsigned char>(c);
  for (size_t i = 0; i < list.size(); ++i) {
    if (i + 2 < list.size() && list[i + 1] == '-') {
      if (u >= static_cast<unsigned char>(list[i]) && u <= static_cast<unsigned char>(list[i + 2])) return true;
      i += 2;
    } else if (list[i] == c) {
      return true;
    }
  }
  return false;
}

bool Takes(std::string_view pattern, size_t at, const Element& e, char c) {
  if (e.is_list) return InList(pattern.substr(e.list_begin, e.list_end - e.list_begin), c) != e.negated;
  if (pattern[at] == '?') return true;
  if (pattern[at] == '#') return IsDigit(c);
  return pattern[at] == c;
}

bool WellFormed(std::string_view pattern) {
  for (size_t at = 0; at < pattern.size();) {
    const Element e = ReadElement(pattern, at);
    if (e.bad) return false;
    at = e.end;
  }
  return true;
}

// Whether the ends of the text already rule out a match: most masks that are tried match nobody.
bool EndsDiffer(std::string_view text, std::string_view pattern) {
  constexpr std::string_view kNoLiterals = "*?#[]";
  const auto differs = [&](char literal, size_t at) {
    return !Contains(kNoLiterals, std::string_view(&literal, 1)) && (text.empty() || text[at] != literal);
  };
  return !pattern.empty() && (differs(pattern.front(), 0) || differs(pattern.back(), text.size() - 1));
}

// A pattern without bracket lists, like nearly all: a new visitor may be compared with thousands of them.
bool LikeWithoutLists(std::string_view text, std::string_view pattern) {
  size_t t = 0, p = 0, star_p = kNone, star_t = 0;
  while (t < text.size() || p < pattern.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star_p = ++p;
      star_t = t;
      continue;
    }
    if (p < pattern.size() && t < text.size()) {
      const char c = pattern[p];
      if (c == '?' || (c == '#' ? IsDigit(text[t]) : c == text[t])) {
        ++p;
        ++t;
        continue;
      }
    }
    if (star_p == kNone || star_t >= text.size()) return false;
    t = ++star_t;
    p = star_p;
  }
  return true;
}

}  // namespace

bool Like(std::string_view text, std::string_view pattern) {
  if (EndsDiffer(text, pattern)) return false;
  if (!Contains(pattern, "[")) return LikeWithoutLists(text, pattern);
  if (!WellFormed(pattern)) return false;
  // Backtracking to the last star is enough: an earlier star could only consume what the last one can consume too.
  size_t t = 0, p = 0, star_p = kNone, star_t = 0;
  while (t < text.size() || p < pattern.size()) {
    if (p < pattern.size()) {
      const Element e = ReadElement(pattern, p);
      if (e.star) {
        star_p = e.end;
        star_t = t;
        p = e.end;
        continue;
      }
      if (e.nothing) {
        p = e.end;
        continue;
      }
      if (t < text.size() && Takes(pattern, p, e, text[t])) {
        p = e.end;
        ++t;
        continue;
      }
    }
    if (star_p == kNone || star_t >= text.size()) return false;
    t = ++star_t;
    p = star_p;
  }
  return true;
}

bool FitsFileMask(std::string_view name, std::string_view mask) {
  if (mask == "*.*") return true;
  std::string pattern;
  for (const char c : mask) {
    if (c == '#' || c == '[') {
      pattern.append("[").append(1, c).append("]");
    } else {
      pattern += LowerAscii(c);
    }
  }
  return Like(Lower(name), pattern);
}

}  // namespace vantry
