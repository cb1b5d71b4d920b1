// Texts of a log, a line of the input each, in every text of a visitor and in an event: what comes out is JSON in one
// line of UTF-8 without control characters, and reads as what is shown of the text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <rapidjson/document.h>

#include "core/shown_bytes.h"
#include "core/text.h"
#include "core/text_encoding.h"
#include "live/event_stream.h"
#include "live/list_query.h"
#include "live/live_rows.h"
#include "support/fakes.h"

namespace {

using namespace vantry;

void Check(bool holds) {
  if (!holds) std::abort();
}

std::string Json(const VisitorRec& v, const Clock& clock) {
  JsonWriter json(clock);
  WriteVisitor(v, json);
  return json.Take();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const FakeClock clock;
  const std::vector<std::string_view> texts = Split(std::string_view(reinterpret_cast<const char*>(data), size), '\n');
  size_t at = 0;
  const auto next = [&] { return texts[at++ % texts.size()]; };
  VisitorRec v;
  v.Site = 1;
  v.IP = next();
  v.Page = next();
  v.Query = next();
  v.DNS = next();
  for (SharedText* text : {&v.Method, &v.KnownName, &v.Referrer, &v.Browser, &v.UserAgent, &v.SpiderName, &v.UserName,
                           &v.CountryCode, &v.CountryName}) {
    *text = next();
  }
  const std::string json = Json(v, clock);
  Check(IsUtf8(json) && json.find_first_of(std::string_view("\0\n\r", 3)) == std::string::npos);
  rapidjson::Document read;
  read.Parse(json.data(), json.size());
  Check(!read.HasParseError() && read.IsObject());
  const auto text = [&](const char* name) {
    return std::string_view(read[name].GetString(), read[name].GetStringLength());
  };
  Check(text("page") == ShownBytes(v.Page) && text("agent") == ShownBytes(v.UserAgent));
  Check(text("address") == ShownBytes(v.IP));
  int16_t site = 0;
  std::string address;
  if (v.IP.size() <= kMostShownBytes / 3) {
    Check(ReadKey(text("key"), site, address) && site == 1 && address == v.IP);
  }
  const std::string event = EventText(7, "move", json);
  Check(event.find("\n\n") == event.size() - 2);
  return 0;
}
