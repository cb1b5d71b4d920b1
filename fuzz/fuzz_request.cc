// Bytes of a connection through framer, request reader and control lines, in pieces that the bytes themselves choose.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "web/line_framer.h"
#include "web/request_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  WebClient client;
  OpenClient(client);
  LineFramer framer;
  for (size_t at = 0; at < bytes.size();) {
    const size_t piece = 1 + static_cast<unsigned char>(bytes[at]) % 40;
    framer.Feed(bytes.substr(at, piece));
    at += piece;
    while (const auto line = framer.NextLine()) {
      if (line->size() > LineFramer::kMaxLine) std::abort();
      if (TakeLine(client, *line, true, "10.0.0.1", WallTime{1}) == ReadStep::kRequestComplete) {
        SplitCommand(client.Query);
        CloseClient(client);
        OpenClient(client);
      }
      if (client.HeaderCount > WebClient::kMaxHeaders) std::abort();
    }
  }
  TakeLine(client, framer.TakeRest(), false, "10.0.0.1", WallTime{1});
  return 0;
}
