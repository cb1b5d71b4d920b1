// The pieces that all web pages are made of. Every literal is part of the look that people know, doubled blanks,
// missing braces and unquoted attributes included.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/settings.h"
#include "core/look.h"

namespace vantry {

// The maker's public web site.
inline constexpr std::string_view kProductSite = "http://www.tressimond.com/";

// The title of pages that have none of their own.
inline constexpr std::string_view kDefaultTitle = "Vantry - Real Time Web Server Monitor";

struct CellLook {
  Align align = Align::kLeft;
  std::string_view font_colour = {};
  bool bold = false;
  std::string_view back_colour = {};  // Empty: WebColGridBack.
  bool mouse_over = false;
  int col_span = 0;
  bool heading = false;  // Of a column.
};

struct LinkLook {
  std::string_view title = {};
  bool no_underline = false;
  bool new_window = false;
  bool show_zero = false;
};

// A text from a log as a page shows it: escaped, or as it is, and then it is not copied.
class Shown {
 public:
  Shown(std::string_view text, bool escape);
  Shown(const Shown&) = delete;
  Shown& operator=(const Shown&) = delete;
  operator std::string_view() const { return text_; }

 private:
  std::string changed_;
  std::string_view text_;
};

// One page as it grows. The colours are those of the settings at the moment it is made.
class PageText {
 public:
  // `escape`: texts that go through Show and the links below can't form tags, attributes or scripts.
  // `paused`: the head and the bar on top say that monitoring is. `readable`: see page_style.h.
  explicit PageText(const Settings& settings, bool escape = false, bool paused = false, bool readable = false);

  PageText& operator<<(std::string_view text) {
    if (text == "<tr>") column_ = 0;
    text_ += text;
    return *this;
  }
  // What has been written since the last time.
  std::string Take() { return std::exchange(text_, {}); }
  // Goes on in `other`, whose memory it uses, and leaves there what has been written.
  void Swap(std::string& other) { text_.swap(other); }
  const std::string& Text() const { return text_; }
  // Makes room for a text of this length.
  void Reserve(size_t bytes) { text_.reserve(bytes); }

  Shown Show(std::string_view text) const { return {text, escape_}; }

  // The page's head and the opening of its body. Reloads itself every 30 seconds unless told not to.
  void HTMLHeader(std::string_view title = kDefaultTitle, bool no_refresh = false);
  // As above, on this background; an empty one is chosen here.
  void HTMLHeader(std::string_view title, bool no_refresh, std::string& back_colour);
  void HTMLFooter();
  // Head and end of a deck for WAP phones.
  void WMLHeader();
  void WMLFooter();
  // The bar on top: the present date and time, and who is logged on.
  void WebHeaderBar(std::string_view now, std::string_view user);
  // The style attribute of tables.
  const std::string& WebStyle() const { return style_; }

  bool Readable() const { return readable_; }
  // The colour of the settings. A readable page takes the standard one where they hold none.
  const std::string& Colour(std::string Settings::*field) const;
  // What the colours of a page mean, on a readable one: pairs of a sample cell and what it says.
  struct Meaning {
    std::string_view sample, back_colour, font_colour, text;
  };
  void Legend(std::initializer_list<Meaning> meanings);

  // One cell. A right-aligned "0" shows nothing. The text goes as it is.
  void AddCell(std::string_view text, const CellLook& look = {});
  void AddHeading(std::string_view text, Align align = Align::kLeft);
  // A row of one cell: white on blue, black on grey, or black on white.
  enum class Row { kBlue, kGrey, kWhite };
  void AddHeaderRow(std::string_view text, int col_span, bool bold, Row row = Row::kBlue);
  void AddLabelRow(std::string_view label, std::string_view value, bool mouse_over = false);
  // A link as text; nothing without a URL, and a "0" can't be seen.
  static std::string AddLink(std::string_view url, std::string_view text = {}, const LinkLook& look = {});
  // A link to an address that came from a log.
  std::string LinkTo(std::string_view url, std::string_view text) const;
  // A link to a page of the site that is watched.
  std::string PageLink(std::string_view domain, std::string_view page) const;
  // A link that opens a window with the page of this command: by the page's script, or without one when texts are
  // escaped.
  struct Popup {
    std::string_view command, domain, argument, title;
  };
  std::string PopupLink(const Popup& popup, std::string_view text) const;
  // A table of one cell that looks like a button.
  std::string AddButton(std::string_view caption, std::string_view url) const;
  // The opening of the table on most pages.
  void OpenTable();
  // The "Back" buttons; `path` is the path of the client's slot.
  void BackToSites(std::string_view path);
  void BackToSite(std::string_view path, std::string_view domain);
  // The script that opens windows with details; nothing when texts are escaped.
  void PopupScript(std::string_view window = "new_win", int width = 650);
  void ProductFooter(std::string_view version);
  static std::string ProductLink();

 private:
  std::string_view PauseMark() const { return paused_ ? " [Paused]" : ""; }
  void MarkCell(std::string_view text, bool heading);
  std::string MouseOverAttributes(std::string_view restore_colour) const;

  const Settings& settings_;
  const bool escape_, paused_, readable_;
  std::string text_;
  std::vector<std::string> headings_;  // Of the columns, on a readable page.
  size_t column_ = 0;
  std::string style_, grid_back_, mouse_over_grid_;  // Attributes that nearly every cell has.
};

// The domain of a site as a heading: a link when it begins with "www" or "http://".
std::string UrlForm(std::string_view domain);

// The address of a page on the site itself.
std::string SiteUrl(std::string_view domain, std::string_view page);

}  // namespace vantry
