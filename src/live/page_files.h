// The files of the page, which are part of the program (scripts/embed_page.py).
#pragma once

#include <span>
#include <string_view>

#include "live/route.h"

namespace vantry {

struct PageFile {
  std::string_view name;
  std::string_view type;
  std::string_view version;  // Of all of them; the page asks for "NAME?v=VERSION".
  std::string_view packed, plain;
};

// In the order of their names.
extern const std::span<const PageFile> kPageFiles;

// The file, or 404. What is no page may be kept: for good where its version was asked for, otherwise as long as it has
// not changed.
HttpReply ServePageFile(std::string_view name, const LiveRequest& request);

HttpReply FrontPage(LiveContext& c, const LiveRequest& request);
HttpReply Asset(LiveContext& c, const LiveRequest& request);

// Whether the value of a header Accept-Encoding allows for gzip.
bool AcceptsGzip(std::string_view accept_encoding);

}  // namespace vantry
