#include "live/page_files.h"

#include <algorithm>
#include <string>

#include "core/text.h"

namespace vantry {

bool AcceptsGzip(std::string_view accept_encoding) {
  for (const std::string_view part : Split(accept_encoding, ',')) {
    const auto words = Split(part, ';');
    if (!EqualsNoCase(Trim(words[0]), "gzip") && Trim(words[0]) != "*") continue;
    const std::string quality = words.size() > 1 ? Lower(Trim(words[1])) : "";
    return !StartsWith(quality, "q=0") || quality.find_first_of("123456789", 3) != std::string::npos;
  }
  return false;
}

HttpReply ServePageFile(std::string_view name, const LiveRequest& request) {
  const auto file = std::find_if(kPageFiles.begin(), kPageFiles.end(), [&](const auto& f) { return f.name == name; });
  if (file == kPageFiles.end()) return ErrorReply(404, "There is no such file.");
  const std::string tag = "\"" + std::string(file->version) + "\"";
  const bool for_good =
      request.query.size() == 1 && request.query[0].first == "v" && request.query[0].second == file->version;
  HttpReply reply;
  reply.headers = {{"Content-Type", std::string(file->type)}, {"Vary", "Accept-Encoding"}};
  // Pages name the versions of the rest, and after a logout none of them is shown again: nobody keeps them.
  if (!StartsWith(file->type, "text/html")) {
    reply.headers.emplace_back("ETag", tag);
    reply.headers.emplace_back("Cache-Control", for_good ? "public, max-age=31536000, immutable" : "no-cache");
    // A proxy that packs on its own makes the tag a weak one.
    if (Contains(request.if_none_match, tag)) {
      reply.status = 304;
      return reply;
    }
  }
  const bool packed = request.gzip && file->packed.size() < file->plain.size();
  if (packed) reply.headers.emplace_back("Content-Encoding", "gzip");
  reply.constant = packed ? file->packed : file->plain;
  return reply;
}

HttpReply FrontPage(LiveContext& /*c*/, const LiveRequest& request) {
  return ServePageFile("index.html", request);
}

HttpReply Asset(LiveContext& /*c*/, const LiveRequest& request) {
  return ServePageFile(request.rest, request);
}

}  // namespace vantry
