#include "platform/regional_locale.h"

#include <string_view>

#include <langinfo.h>
#include <locale.h>
#include <stdlib.h>

namespace vantry {
namespace {

// The counterpart of a strftime letter in our patterns; null if it has none.
const char* PatternOf(char letter) {
  switch (letter) {
    case 'd':
      return "dd";
    case 'e':
      return "d";
    case 'm':
      return "MM";
    case 'Y':
      return "yyyy";
    case 'y':
      return "yy";
    case 'H':
      return "HH";
    case 'I':
      return "hh";
    case 'k':
      return "H";
    case 'l':
      return "h";
    case 'M':
      return "mm";
    case 'S':
      return "ss";
    case 'p':
      return "AM/PM";
    case 'F':
      return "yyyy-MM-dd";
    case 'D':
      return "MM/dd/yy";
    case 'T':
      return "HH:mm:ss";
    case 'R':
      return "HH:mm";
    case 'r':
      return "hh:mm:ss AM/PM";
    default:
      return nullptr;
  }
}

bool IsPlainLocale(const char* name) {
  const std::string_view n = name ? name : "C";
  return n.empty() || n == "C" || n == "POSIX" || n.rfind("C.", 0) == 0;
}

const char* TimeLocaleName() {
  for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
    const char* value = ::getenv(variable);
    if (value && *value) return value;
  }
  return "C";
}

}  // namespace

std::string PatternFromStrftime(std::string_view format, const std::string& fallback) {
  std::string out;
  for (size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') {
      out += format[i];
      continue;
    }
    // The flags of glibc: no padding, other digits, other era.
    while (i + 1 < format.size() && std::string_view("-_0^EO").find(format[i + 1]) != std::string_view::npos) ++i;
    const char* pattern = ++i < format.size() ? PatternOf(format[i]) : nullptr;
    if (!pattern) return fallback;
    out += pattern;
  }
  return out.empty() ? fallback : out;
}

Regional ReadRegional(KeyStore& store) {
  Regional regional;
  if (!IsPlainLocale(TimeLocaleName())) {
    if (locale_t locale = ::newlocale(LC_TIME_MASK, "", nullptr)) {
      regional.short_date = PatternFromStrftime(::nl_langinfo_l(D_FMT, locale), regional.short_date);
      regional.time = PatternFromStrftime(::nl_langinfo_l(T_FMT, locale), regional.time);
      ::freelocale(locale);
    }
  }
  if (const auto date = store.Get("International", "ShortDate"); date && !date->empty()) regional.short_date = *date;
  if (const auto time = store.Get("International", "Time"); time && !time->empty()) regional.time = *time;
  return regional;
}

}  // namespace vantry
