// Texts as visitors choose them, a line of the input each, in the cells of a report: none becomes an element, an
// attribute, or a link that is more than a web address.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "core/text.h"
#include "notify/grid_to_html.h"
#include "support/html_shape.h"

namespace {

using namespace vantry;

struct LinesGrid final : ReportGrid {
  std::vector<std::string_view> lines;
  int Rows() const override { return static_cast<int>(lines.size()); }
  int Columns() const override { return 1; }
  std::string Text(int row, int) const override { return std::string(lines[static_cast<size_t>(row)]); }
};

// The tags that a cell adds are those of the report itself, and a link of the grid's own making.
bool Allowed(const HtmlTag& tag) {
  if (tag.name == "td" || tag.name == "tr" || tag.name == "p" || tag.name == "b") return true;
  if (tag.name != "a" || tag.attributes.size() != 1 || tag.attributes[0].first != "href") return false;
  const std::string address = html::AsAddress(html::Decoded(tag.attributes[0].second));
  return StartsWith(address, "http://") || StartsWith(address, "https://");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  LinesGrid grid;
  grid.lines = Split(std::string_view(reinterpret_cast<const char*>(data), size), '\n');
  std::string page;
  const Status status = WriteGridHTML(grid, {"Title", "Caption"}, [&page](std::string_view bytes) {
    page += bytes;
    return Status::Ok();
  });
  const std::vector<HtmlTag> tags = ReadHtml(std::string_view(page).substr(page.find("collapse\">") + 10));
  size_t cells = 0;
  for (const HtmlTag& tag : tags) {
    if (!Allowed(tag)) std::abort();
    if (tag.name != "td") continue;
    // A heading has five attributes more than a cell, and a number one more.
    const size_t own = (cells++ == 0 ? 6 : 1) + (tag.attributes.back().first == "align" ? 1 : 0);
    if (tag.attributes.size() != own) std::abort();
  }
  if (!status.ok() || cells != grid.lines.size() || !FindScript(page).empty()) std::abort();
  return 0;
}
