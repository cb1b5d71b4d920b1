// Texts of a log, a line of the input each, in all places of all pages, escaped: none becomes an element, an attribute
// or a script.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/text.h"
#include "support/html_shape.h"
#include "support/page_rig.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  std::vector<std::string> texts;
  for (const std::string_view text : Split(std::string_view(reinterpret_cast<const char*>(data), size), '\n')) {
    texts.emplace_back(text);
  }
  PageRig wild, tame;
  wild.context.escape = tame.context.escape = true;
  wild.Fill(texts);
  for (std::string& text : texts) text = Harmless(text);
  tame.Fill(texts);
  const auto got = wild.Pages(), want = tame.Pages();
  for (size_t i = 0; i < got.size(); ++i) {
    if (!FindScript(got[i].text).empty() || HtmlShape(got[i].text) != HtmlShape(want[i].text)) std::abort();
  }
  if (Contains(GetVisitorsList(wild.context, 1, ""), "<")) std::abort();
  return 0;
}
