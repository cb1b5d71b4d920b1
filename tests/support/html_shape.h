// What a browser makes of a page: its elements and attributes without the texts between them.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/text.h"

namespace vantry {

struct HtmlTag {
  std::string name;  // In lower case, as are the names of attributes.
  std::vector<std::pair<std::string, std::string>> attributes;
  std::string content;  // Of a script or style alone: it is not markup.
};

// Start tags and comments ("!"), in order.
inline std::vector<HtmlTag> ReadHtml(std::string_view page);

// All tags, attributes, scripts and styles as one text a tag. Where links lead is left out.
inline std::vector<std::string> HtmlShape(std::string_view page);

// What a text of a log must never have added to an escaped page: a script, a handler, a link that is more than an
// address. Empty if there is nothing.
inline std::string FindScript(std::string_view page);

namespace html {

inline bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f';
}

inline bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Reads as browsers do, errors of the page included.
class Reader {
 public:
  explicit Reader(std::string_view page) : page_(page) {}

  std::vector<HtmlTag> Read() {
    while ((at_ = page_.find('<', at_)) != std::string_view::npos) {
      ++at_;
      const char next = Peek();
      if (page_.substr(at_, 3) == "!--") {
        tags_.push_back({"!", {}, std::string(UpTo("-->"))});
      } else if (next == '!' || next == '?' || (next == '/' && !IsLetter(Peek(1)))) {
        tags_.push_back({"!", {}, std::string(UpTo(">"))});
      } else if (next == '/' || IsLetter(next)) {
        ReadTag();
      }
    }
    return std::move(tags_);
  }

 private:
  char Peek(size_t ahead = 0) const { return at_ + ahead < page_.size() ? page_[at_ + ahead] : '\0'; }
  bool AtEnd() const { return at_ >= page_.size(); }

  std::string_view UpTo(std::string_view end) {
    const size_t begin = at_, found = page_.find(end, at_);
    at_ = found == std::string_view::npos ? page_.size() : found + end.size();
    return page_.substr(begin, at_ - begin);
  }

  void ReadTag() {
    HtmlTag tag;
    const bool closing = Peek() == '/';
    if (closing) ++at_;
    while (!AtEnd() && !IsBlank(Peek()) && Peek() != '/' && Peek() != '>') tag.name += page_[at_++];
    tag.name = Lower(tag.name);
    while (!AtEnd() && Peek() != '>') ReadAttribute(tag);
    ++at_;
    if (closing) return;
    if (tag.name == "script" || tag.name == "style" || tag.name == "title" || tag.name == "textarea") {
      const std::string_view content = UpToEndTag(tag.name);
      if (tag.name == "script" || tag.name == "style") tag.content = content;
    }
    tags_.push_back(std::move(tag));
  }

  void ReadAttribute(HtmlTag& tag) {
    if (IsBlank(Peek()) || Peek() == '/') {
      ++at_;
      return;
    }
    auto& [name, value] = tag.attributes.emplace_back();
    do name += page_[at_++];
    while (!AtEnd() && !IsBlank(Peek()) && Peek() != '/' && Peek() != '>' && Peek() != '=');
    name = Lower(name);
    while (IsBlank(Peek())) ++at_;
    if (Peek() != '=') return;
    ++at_;
    while (IsBlank(Peek())) ++at_;
    if (const char quote = Peek(); quote == '"' || quote == '\'') {
      ++at_;
      while (!AtEnd() && Peek() != quote) value += page_[at_++];
      ++at_;
    } else {
      while (!AtEnd() && !IsBlank(Peek()) && Peek() != '>') value += page_[at_++];
    }
  }

  std::string_view UpToEndTag(const std::string& name) {
    const size_t begin = at_;
    for (; !AtEnd(); ++at_) {
      if (EqualsNoCase(page_.substr(at_, name.size() + 2), "</" + name)) break;
    }
    return page_.substr(begin, at_ - begin);
  }

  const std::string_view page_;
  size_t at_ = 0;
  std::vector<HtmlTag> tags_;
};

inline std::string Decoded(std::string_view text) {
  std::string out(text);
  for (const auto& [entity, plain] :
       {std::pair{"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&#39;", "'"}, {"&amp;", "&"}}) {
    out = ReplaceAll(std::move(out), entity, plain);
  }
  return out;
}

// Browsers drop these before they look at the scheme.
inline std::string AsAddress(std::string_view url) {
  std::string out;
  for (const char c : url) {
    if (c == '\t' || c == '\r' || c == '\n' || (out.empty() && c >= 0 && c <= ' ')) continue;
    out += c;
  }
  return out;
}

inline bool HasOtherScheme(const std::string& url) {
  const std::string name = Lower(url.substr(0, url.find_first_of(":/?#")));
  if (name.size() == url.size() || url[name.size()] != ':') return false;
  // A domain with a port looks like a scheme, and its dot is what no scheme that runs anything has.
  return name != "http" && name != "https" && !Contains(name, ".");
}

// What lights a cell up: this.bgColor="COLOUR".
inline bool IsHighlight(std::string_view handler) {
  constexpr std::string_view kStart = "this.bgColor=\"";
  if (!StartsWith(handler, kStart) || handler.back() != '"') return false;
  const std::string_view colour = handler.substr(kStart.size(), handler.size() - kStart.size() - 1);
  return std::all_of(colour.begin(), colour.end(),
                     [](char c) { return c == '#' || IsLetter(c) || (c >= '0' && c <= '9'); });
}

}  // namespace html

inline std::vector<HtmlTag> ReadHtml(std::string_view page) {
  return html::Reader(page).Read();
}

inline std::vector<std::string> HtmlShape(std::string_view page) {
  std::vector<std::string> shape;
  for (const HtmlTag& tag : ReadHtml(page)) {
    std::string& line = shape.emplace_back(tag.name);
    for (const auto& [name, value] : tag.attributes) {
      line.append(" ").append(name);
      if (name != "href") line.append("=").append(value);
    }
    line.append(" ").append(tag.content);
  }
  return shape;
}

inline std::string FindScript(std::string_view page) {
  for (const HtmlTag& tag : ReadHtml(page)) {
    if (tag.name == "script") return "a script: " + tag.content;
    for (const auto& [name, value] : tag.attributes) {
      if (StartsWith(name, "on") && !html::IsHighlight(value)) return "a handler: " + name + "=" + value;
      const bool leads = name == "href" || name == "src" || name == "action";
      if (leads && html::HasOtherScheme(html::AsAddress(html::Decoded(value)))) return "an address: " + value;
    }
  }
  return {};
}

}  // namespace vantry
