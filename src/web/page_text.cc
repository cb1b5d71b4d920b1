#include "web/page_text.h"

#include <algorithm>

#include "core/text.h"
#include "web/page_style.h"

namespace vantry {
namespace {

constexpr std::string_view kBarColour = "#2E53AB";

constexpr char kNoCache[] =
    "<META HTTP-EQUIV=\"Pragma\" CONTENT=\"no-cache\">\r\n<META HTTP-EQUIV=\"Expires\" CONTENT=\"-1\">\r\n";

// The rule for links under the mouse has no closing brace.
constexpr char kStyleBlock[] =
    "<STYLE TYPE=\"text/css\">\r\n<!--\r\na:link       { color: #003477 }\r\na:visited    { color: #002477 }\r\n"
    "a:hover      {\r\ncolor : #630000;\r\ntext-decoration : underline;\r\n-->\r\n</STYLE>\r\n";

std::string Quoted(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

// A page names no character set, and a browser that finds ESC in it may take it for one in which the quote after an
// address is half a character.
bool IsControl(char c) {
  return static_cast<unsigned char>(c) < ' ' || c == '\x7F';
}

bool NeedsEscape(char c) {
  return c == '&' || c == '<' || c == '>' || c == '"' || c == '\'' || IsControl(c);
}

bool BeginsLike(std::string_view text, std::string_view start) {
  return EqualsNoCase(text.substr(0, start.size()), start);
}

}  // namespace

Shown::Shown(std::string_view text, bool escape) : text_(text) {
  if (!escape || std::ranges::none_of(text, NeedsEscape)) return;
  for (const char c : text) {
    switch (c) {
      case '&':
        changed_ += "&amp;";
        break;
      case '<':
        changed_ += "&lt;";
        break;
      case '>':
        changed_ += "&gt;";
        break;
      case '"':
        changed_ += "&quot;";
        break;
      case '\'':
        changed_ += "&#39;";
        break;
      default:
        changed_ += IsControl(c) ? ' ' : c;
    }
  }
  text_ = changed_;
}

PageText::PageText(const Settings& settings, bool escape, bool paused, bool readable)
    : settings_(settings), escape_(escape), paused_(paused), readable_(readable) {
  const std::string &light = Colour(&Settings::WebColLiteBorder), &dark = Colour(&Settings::WebColDarkBorder);
  style_ = "style=\"border-left:2px solid " + light + "; border-right:2px solid " + dark + "; border-top:2px solid " +
           light + "; border-bottom:2px solid " + dark +
           "; font-family:  Tahoma,  MS Sans Serif,  Arial; font-size: 8pt; border-collapse:collapse\"";
  grid_back_ = " bgcolor=" + Quoted(Colour(&Settings::WebColGridBack)) + " ";
  mouse_over_grid_ = MouseOverAttributes(Colour(&Settings::WebColGridBack));
}

void PageText::HTMLHeader(std::string_view title, bool no_refresh) {
  std::string back_colour;
  HTMLHeader(title, no_refresh, back_colour);
}

void PageText::HTMLHeader(std::string_view title, bool no_refresh, std::string& back_colour) {
  if (back_colour.empty()) back_colour = Colour(&Settings::WebColBackColor);
  const std::string_view backgrounds[] = {back_colour,
                                          kBarColour,
                                          Colour(&Settings::WebColTableHeading),
                                          Colour(&Settings::WebColGridHeader),
                                          Colour(&Settings::WebColGridBack),
                                          Colour(&Settings::WebColButtonFace),
                                          Colour(&Settings::WebColButtonHighlight),
                                          "#FFFFFF",
                                          "Red"};
  *this << "<HTML>\r\n<HEAD>\r\n<META http-equiv=\"Content-Type\" content=\"text/html\">\r\n";
  if (!no_refresh) *this << "<META http-equiv=\"Refresh\" content=\"30\">\r\n";
  *this
      << kNoCache << "<TITLE>" << title << PauseMark() << "</TITLE>\r\n"
      << kStyleBlock << (readable_ ? ReadableHead(backgrounds) : std::string())
      << "</HEAD>\r\n<BODY bgcolor=" << Quoted(back_colour)
      << " style=\"font-family: Tahoma, Trebuchet MS,  Arial; font-size: 10pt\" topmargin=\"0\" leftmargin=\"0\">\r\n";
}

// The second head makes browsers drop a page that they kept in spite of the first.
void PageText::HTMLFooter() {
  *this << "</BODY>\r\n<HEAD>\r\n" << kNoCache << "</HEAD>\r\n</HTML>\r\n";
}

void PageText::WMLHeader() {
  *this << "<wml>\r\n<head>\r\n<meta http-equiv=\"Cache-Control\" content=\"no-cache\" />\r\n</head>\r\n";
}

void PageText::WMLFooter() {
  *this << "</wml>\r\n";
}

void PageText::WebHeaderBar(std::string_view now, std::string_view user) {
  *this << "<table border=\"1\" width=\"100%\" bgcolor=" << Quoted(kBarColour) << style_
        << " cellspacing=\"0\" cellpadding=\"5\">\r\n<tr>\r\n<td valign=\"top\">\r\n"
           "<p align=\"left\"><font color=\"#FFFFFF\"><font face=\"Arial\" size=\"4\"><b>Vantry Web "
           "Access"
        << PauseMark() << "</b></font><br></td>\r\n<td valign=\"top\">\r\n<p align=\"right\"><font color=\"#FFFFFF\">"
        << now << "<br><br>" << user << "</td>\r\n</tr>\r\n</table>\r\n<p>\r\n";
}

std::string PageText::MouseOverAttributes(std::string_view restore_colour) const {
  const std::string_view restore =
      restore_colour.empty() ? std::string_view(Colour(&Settings::WebColButtonFace)) : restore_colour;
  return " onMouseover='this.bgColor=" + Quoted(Colour(&Settings::WebColButtonHighlight)) + "' " +
         " onMouseout='this.bgColor=" + Quoted(restore) + "' ";
}

void PageText::AddCell(std::string_view text, const CellLook& look) {
  text_ += "<td";
  if (look.col_span > 0) text_.append(" colspan=\"").append(std::to_string(look.col_span)).append("\" ");
  if (readable_) MarkCell(text, look.heading);
  if (look.align == Align::kRight) text_ += " align=\"right\"";
  if (look.align == Align::kCentre) text_ += " align=\"center\"";
  const bool own_back = !look.back_colour.empty();
  if (own_back) {
    text_.append(" bgcolor=\"").append(look.back_colour).append("\" ");
  } else {
    text_ += grid_back_;
  }
  if (look.mouse_over && !text.empty() && text != "-") {
    text_ += own_back ? MouseOverAttributes(look.back_colour) : mouse_over_grid_;
  }
  text_ += '>';
  if (!look.font_colour.empty()) text_.append(" <font color=\"").append(look.font_colour).append("\">");
  if (look.bold) text_ += "<b>";
  const bool nothing = text.empty() || (look.align == Align::kRight && text == "0");
  text_ += nothing ? std::string_view("&nbsp;") : text;
  if (look.bold) text_ += "</b>";
  if (!look.font_colour.empty()) text_ += "</font>";
  text_ += "</td>";
}

void PageText::AddHeading(std::string_view text, Align align) {
  AddCell(text, {.align = align, .back_colour = Colour(&Settings::WebColGridHeader), .heading = true});
}

// Each value knows its heading: on a narrow screen the one stands before the other.
void PageText::MarkCell(std::string_view text, bool heading) {
  if (heading) {
    headings_.emplace_back(text);
    text_ += " class=\"heading\"";
  } else if (column_ < headings_.size()) {
    text_.append(" data-label=\"").append(headings_[column_++]).append("\"");
  }
}

void PageText::Legend(std::initializer_list<Meaning> meanings) {
  if (!readable_) return;
  headings_.clear();
  *this << "<center><table cellspacing=\"0\" cellpadding=\"3\" style=\"font-size: 8pt\">\r\n";
  for (const Meaning& meaning : meanings) {
    *this << "<tr>";
    AddCell(meaning.sample, {.font_colour = meaning.font_colour, .back_colour = meaning.back_colour});
    AddCell(meaning.text);
    *this << "</tr>\r\n";
  }
  *this << "</table></center>\r\n";
}

const std::string& PageText::Colour(std::string Settings::*field) const {
  static const Settings kStandard;
  return readable_ && !IsColour(settings_.*field) ? kStandard.*field : settings_.*field;
}

void PageText::AddHeaderRow(std::string_view text, int col_span, bool bold, Row row) {
  headings_.clear();
  *this << "<tr><td colspan=" << Quoted(std::to_string(col_span)) << " ";
  if (row == Row::kWhite) {
    *this << "bgcolor=\"#FFFFFF\"";
  } else {
    *this << "bgcolor="
          << (row == Row::kGrey ? Colour(&Settings::WebColGridHeader) : Colour(&Settings::WebColTableHeading));
  }
  *this << " height=\"30\">" << (bold ? "<b>" : "")
        << (row == Row::kBlue ? "<font color=\"#FFFFFF\">" : "<font color=\"#000000\">");
  if (!text.empty()) *this << text << "</font>";
  *this << (bold ? "</b>" : "") << "</td>\r\n</tr>\r\n";
}

void PageText::AddLabelRow(std::string_view label, std::string_view value, bool mouse_over) {
  *this << "<tr>";
  AddCell(label, {.back_colour = Colour(&Settings::WebColGridHeader)});
  AddCell(value, {.mouse_over = mouse_over, .col_span = 2});
  *this << "</tr>\r\n";
}

std::string PageText::AddLink(std::string_view url, std::string_view text, const LinkLook& look) {
  if (url.empty()) return {};
  if (text.empty()) text = url;
  if (text == "0" && !look.show_zero) text = "&nbsp;";
  std::string link = "<a";
  link.reserve(url.size() + text.size() + look.title.size() + 80);
  if (!look.title.empty()) link.append(" title=\"").append(look.title).append("\"");
  link.append(" href=\"").append(url).append("\"");
  if (look.new_window) link += " target=\"_blank\"";
  if (look.no_underline) link += " style=\"text-decoration: none\" ";
  return link.append(">").append(text).append("</a>");
}

// A log can name any scheme, and a click on some of them runs what follows.
std::string PageText::LinkTo(std::string_view url, std::string_view text) const {
  const Shown shown = Show(text);
  if (escape_ && !BeginsLike(url, "http://") && !BeginsLike(url, "https://")) return std::string(shown);
  return AddLink(Show(url), shown, {.show_zero = readable_});
}

std::string PageText::PageLink(std::string_view domain, std::string_view page) const {
  return AddLink(Show(SiteUrl(domain, page)), Show(page), {.show_zero = readable_});
}

std::string PageText::PopupLink(const Popup& popup, std::string_view text) const {
  std::string url;
  url.reserve(popup.command.size() + popup.domain.size() + popup.argument.size() + 80);
  // Browsers decode percent signs before they run a link's script, so no escaping holds inside one.
  if (!escape_) url += "javascript:openUIWindow('";
  url.append("?").append(popup.command).append("&domain=").append(Show(popup.domain)).append(":");
  url.append(Show(popup.argument));
  if (!escape_) url += "')";
  return AddLink(url, Show(text), {.title = popup.title, .new_window = escape_, .show_zero = readable_});
}

std::string PageText::AddButton(std::string_view caption, std::string_view url) const {
  return "<table border=\"1\" cellpadding=\"2\" cellspacing=\"0\" style=\"border:1px solid " +
         Colour(&Settings::WebColButtonBorder) +
         "; border-collapse: collapse; font-family:Tahoma; font-size:8pt\" width=\"85\">\r\n<tr>\r\n<td bgcolor=" +
         Quoted(Colour(&Settings::WebColButtonFace)) + MouseOverAttributes({}) + " align=\"center\">\r\n" +
         AddLink(url, caption, {.no_underline = true}) + "</td>\r\n</tr>\r\n</table>\r\n";
}

void PageText::OpenTable() {
  *this << "<center><table border=\"1\" cellspacing=\"0\" cellpadding=\"3\" bordercolorlight=\"#808080\" "
           "bordercolordark=\"#FFFFFF\" "
        << style_ << "> \r\n";
}

void PageText::BackToSites(std::string_view path) {
  *this << "<p align=\"center\">" << AddButton("Back", std::string(path) + "?SITES") << "</p>\r\n";
}

void PageText::BackToSite(std::string_view path, std::string_view domain) {
  *this << "<p align=\"center\">" << AddButton("Back", std::string(path) + "?SITETABLE&site=" + std::string(domain))
        << "</p>\r\n";
}

void PageText::PopupScript(std::string_view window, int width) {
  if (escape_) return;
  *this
      << "<script language=\"JavaScript\">\r\n<!--\r\nfunction openUIWindow(NewPage)\r\n{\r\n"
      << window << " = window.open(\"\"," << Quoted(window) << ",\"top=50px,left=25px,width=" << std::to_string(width)
      << "px,height=400px,toolbar=yes,menubar=no,location=no,status=no,directories=no,scrollbars=yes,resizable=yes\");"
         "\r\n"
      << window << ".location.href = NewPage;\r\n}\r\n// -->\r\n</script>\r\n";
}

void PageText::ProductFooter(std::string_view version) {
  *this << "<p align=\"center\"><font size=\"1\">\"Vantry\" - Real time web server visitor tracking. Version "
        << version << ". <br>For more information go to " << AddLink(kProductSite) << "</font></p>\r\n";
}

std::string PageText::ProductLink() {
  return " <a href=" + Quoted(kProductSite) + "><b>Vantry</b></a> ";
}

std::string UrlForm(std::string_view domain) {
  std::string url(domain);
  if (BeginsLike(url, "www")) url.insert(0, "http://");
  if (!StartsWith(url, "http://")) return url;
  return "<a href=\"" + url + "\">" + std::string(domain) + "</a>";
}

std::string SiteUrl(std::string_view domain, std::string_view page) {
  std::string url;
  url.reserve(domain.size() + page.size() + 8);
  if (StartsWith(domain, "www")) url += "http://";
  url += domain;
  if (domain.empty() || domain.back() != '/') url += '/';
  return url.append(page);
}

}  // namespace vantry
