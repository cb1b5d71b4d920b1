#include "web/page_style.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "core/text.h"

namespace vantry {
namespace {

constexpr double kReadable = 4.5;
constexpr std::string_view kBlack = "#000000", kWhite = "#FFFFFF";

int HexValue(char c) {
  const char lower = LowerAscii(c);
  return IsDigit(c) ? c - '0' : lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Of the three, as screens mix them.
double Light(std::string_view colour) {
  constexpr double kWeights[] = {0.2126, 0.7152, 0.0722};
  if (colour == "Red") colour = "#FF0000";
  double sum = 0;
  for (size_t i = 0; i < 3; ++i) {
    const double share = (HexValue(colour[1 + 2 * i]) * 16 + HexValue(colour[2 + 2 * i])) / 255.0;
    sum += kWeights[i] * (share <= 0.03928 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4));
  }
  return sum;
}

// One of black and white always reaches 4.5.
std::string_view TextOn(std::string_view back) {
  return Contrast(back, kWhite) >= Contrast(back, kBlack) ? kWhite : kBlack;
}

std::string_view FirstReadable(std::string_view back, std::initializer_list<std::string_view> wanted) {
  const auto found =
      std::find_if(wanted.begin(), wanted.end(), [&](auto colour) { return Contrast(back, colour) >= kReadable; });
  return found == wanted.end() ? TextOn(back) : *found;
}

// Text in a cell takes the colours of the cell, whatever it stands in: these properties are inherited.
void AddRule(std::string& out, std::string_view back) {
  out.append("[bgcolor=\"").append(back).append("\"] { color: ").append(TextOn(back));
  out.append("; --link: ").append(FirstReadable(back, {"#003477", "#A9C8FF"}));
  out.append("; --alarm: ").append(FirstReadable(back, {"#C00000", "#FFB0B0"})).append(" }\r\n");
}

// On a narrow screen each row is a block of lines, with the heading of its column before each value.
constexpr std::string_view kRest =
    "table { color: inherit }\r\n"
    "a:link, a:visited, a:hover { color: var(--link) }\r\n"
    "font[color] { color: inherit }\r\n"
    "font[color=\"#FF0000\"] { color: var(--alarm) }\r\n"
    "@media (max-width: 700px) {\r\n"
    "body, td, p { overflow-wrap: anywhere }\r\n"
    "table[bordercolordark], table[bordercolordark] > tbody, table[bordercolordark] > tbody > tr,\r\n"
    "table[bordercolordark] > tbody > tr > td { display: block; text-align: left }\r\n"
    "table[bordercolordark] { font-size: 11pt !important }\r\n"
    "table[bordercolordark] > tbody > tr { border-bottom: 2px solid #808080 }\r\n"
    "table[bordercolordark] > tbody > tr > td { border: 0; padding: 4px }\r\n"
    "table[bordercolordark] td.heading { display: none }\r\n"
    "td[data-label]::before { content: attr(data-label) \": \" }\r\n"
    "}\r\n";

}  // namespace

bool IsColour(std::string_view text) {
  return text.size() == 7 && text.front() == '#' &&
         std::all_of(text.begin() + 1, text.end(), [](char c) { return HexValue(c) >= 0; });
}

double Contrast(std::string_view one, std::string_view other) {
  const auto [darker, lighter] = std::minmax({Light(one), Light(other)});
  return (lighter + 0.05) / (darker + 0.05);
}

std::string ReadableHead(std::span<const std::string_view> backgrounds) {
  std::string head =
      "<META name=\"viewport\" content=\"width=device-width, initial-scale=1\">\r\n"
      "<STYLE TYPE=\"text/css\">\r\n";
  for (const std::string_view back : backgrounds) {
    if (IsColour(back) || back == "Red") AddRule(head, back);
  }
  return head.append(kRest).append("</STYLE>\r\n");
}

}  // namespace vantry
