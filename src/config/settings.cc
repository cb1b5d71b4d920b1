#include "config/settings.h"

namespace vantry {

// Networks whose clients change address from request to request, so that one person would show as many visitors.
std::array<std::string, Settings::kMaxMasks> Settings::DefaultMasks() {
  std::array<std::string, kMaxMasks> masks;
  masks[0] = "*.proxy.aol.com";
  masks[1] = "*.googlebot.com";
  masks[2] = "*.inktomisearch.com";
  masks[3] = "*.cache?.webtv.net";
  masks[4] = "*.search.msn.com";
  return masks;
}

std::vector<std::string> Settings::DefaultExtensions() {
  return {"htm", "asp", "html", "shtml", "txt", "cfm", "aspx", "php", "dll",
          "cgi", "exe", "bat",  "vbs",   "wml", "pl",  "cab",  "pdf", "zip"};
}

std::vector<SearchEngine> Settings::DefaultEngines() {
  return {{"AOL Search", ".aol."},
          {"AltaVista", ".altavista."},
          {"Ask Jeeves", ".askjeeves."},
          {"Direct Hit", ".directhit."},
          {"Excite", ".excite."},
          {"FAST Search", ".alltheweb."},
          {"Go / InfoSeek", ".go."},
          {"GoTo", ".goto."},
          {"Google", ".google."},
          {"HotBot", ".hotbot."},
          {"Inktomi", ".inktomi."},
          {"LookSmart", ".looksmart."},
          {"Lycos", ".lycos."},
          {"MSN Search", ".msn."},
          {"Netscape Search", ".netscape."},
          {"Northern Light", ".northernlight."},
          {"Open Directory", "http://dmoz."},
          {"Raging Search", ".raging."},
          {"RealNames", ".realnames."},
          {"Snap", ".snap."},
          {"Webcrawler", ".webcrawler."},
          {"Yahoo", ".yahoo."},
          {"WebTop", ".webtop."},
          {"Ask Jeeves", ".ask.c"},
          {"ZDNet", ".zdnet."},
          {"CNet", ".download.com"}};
}

}  // namespace vantry
