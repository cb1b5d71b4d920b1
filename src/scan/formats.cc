#include "scan/formats.h"

#include "core/text.h"

namespace vantry {
namespace {

struct FieldName {
  std::string_view w3c, firewall, isa;  // Empty where the type has no name for it.
  Field field;
};

// Upper-case names in a header line. The firewall log gives the columns another meaning: its "page" is the action, its
// "agent" the protocol, its visitor the destination address.
constexpr FieldName kNames[] = {
    {"DATE", "DATE", "DATE", kDate},
    {"TIME", "TIME", "TIME", kTime},
    {"C-IP", "DST-IP", "C-IP", kClientIp},
    {"CS-USERNAME", "", "CS-USERNAME", kUserName},
    {"S-SITENAME", "", "S-SITENAME", kSiteName},
    {"S-COMPUTERNAME", "", "S-COMPUTERNAME", kComputerName},
    {"S-IP", "", "S-IP", kServerIp},
    {"CS-METHOD", "", "CS-METHOD", kMethod},
    {"CS-URI-STEM", "ACTION", "CS-URI", kUriStem},
    {"CS-URI-QUERY", "", "CS-URI-QUERY", kUriQuery},
    {"SC-STATUS", "", "SC-STATUS", kStatus},
    {"SC-WIN32-STATUS", "TCPWIN", "SC-WIN32-STATUS", kWin32Status},
    {"SC-BYTES", "SIZE", "SC-BYTES", kServerBytes},
    {"CS-BYTES", "", "CS-BYTES", kClientBytes},
    {"TIME-TAKEN", "", "TIME-TAKEN", kTimeTaken},
    {"S-PORT", "DST-PORT", "S-PORT", kServerPort},
    {"CS-VERSION", "CS-VERSION", "CS-VERSION", kVersion},
    {"CS(USER-AGENT)", "PROTOCOL", "C-AGENT", kUserAgent},
    {"CS(COOKIE)", "", "CS(COOKIE)", kCookie},
    {"CS(REFERER)", "", "", kReferer},
};

std::string_view NameIn(const FieldName& row, LogType type) {
  switch (type) {
    case LogType::kW3C:
      return row.w3c;
    case LogType::kFirewall:
      return row.firewall;
    case LogType::kISA:
      return row.isa;
    default:
      return {};
  }
}

struct Place {
  Field field;
  int16_t ordinal;
};
FieldLayout Layout(std::initializer_list<Place> places) {
  FieldLayout layout;
  for (const Place& p : places) layout.ordinal[p.field] = p.ordinal;
  return layout;
}

}  // namespace

FieldLayout SetIISLayout() {
  return Layout({{kDate, 2}, {kTime, 3}, {kClientIp, 0}, {kUriStem, 13}, {kWin32Status, 10}});
}

FieldLayout SetNCSALayout() {
  return Layout(
      {{kDate, 3}, {kClientIp, 0}, {kUriStem, 6}, {kStatus, 8}, {kServerBytes, 9}, {kUserAgent, 11}, {kReferer, 10}});
}

FieldLayout SetProxyLayout() {
  return Layout({{kDate, 4},
                 {kTime, 5},
                 {kClientIp, 0},
                 {kUserName, 1},
                 {kUriStem, 18},
                 {kWin32Status, 21},
                 {kClientBytes, 13},
                 {kTimeTaken, 12},
                 {kUserAgent, 2}});
}

FieldLayout SetFirewallLayout() {
  return Layout(
      {{kDate, 0}, {kTime, 1}, {kClientIp, 5}, {kUriStem, 2}, {kWin32Status, 12}, {kClientBytes, 8}, {kUserAgent, 3}});
}

FieldLayout FieldMap(LogType type, std::string_view fields) {
  FieldLayout layout;
  const std::string text = ReplaceAll(std::string(fields), "\t", " ");
  int ordinal = 0;
  for (const std::string_view part : Split(text, ' ')) {
    if (ordinal > 32767) break;
    const std::string name = Upper(Trim(part));
    for (const FieldName& row : kNames) {
      if (!name.empty() && name == NameIn(row, type)) layout.ordinal[row.field] = static_cast<int16_t>(ordinal);
    }
    ++ordinal;
  }
  return layout;
}

FormatTraits TraitsOf(LogType type) {
  switch (type) {
    case LogType::kIIS:
      return {',', true};
    case LogType::kNCSA:
      return {' ', true};
    case LogType::kProxy:
      return {',', true};
    case LogType::kFirewall:
      return {' ', true};
    case LogType::kISA:
      return {'\t', false};
    default:
      return {' ', false};
  }
}

}  // namespace vantry
