// The program itself, and whether it is well.
#include "live/event_log.h"
#include "live/json_writer.h"
#include "live/list_query.h"
#include "live/page_files.h"
#include "live/resources.h"

namespace vantry {
namespace {

// A log that can't be read is not waited for: it is told of elsewhere.
bool IsBeingRead(const SiteRec& site) {
  if (site.Deleted || site.Rests() || site.WaitsForLog || site.ReadOnce) return false;
  return !site.CaughtUp || site.Scanning || site.Fetching;
}

}  // namespace

HttpReply Health(LiveContext& /*c*/, const LiveRequest& /*request*/) {
  return TextReply(200, "ok\n");
}

// Ready once every log that can be read was read to its end.
HttpReply Readiness(LiveContext& c, const LiveRequest& /*request*/) {
  for (const SiteRec& site : c.t.Sites) {
    if (IsBeingRead(site)) return TextReply(503, "reading the logs\n");
  }
  return TextReply(200, "ok\n");
}

HttpReply Program(LiveContext& c, const LiveRequest& request) {
  ListQuery query;
  if (const std::string error = ReadListQuery(request.query, c.t, 0, query); !error.empty()) {
    return ErrorReply(400, error);
  }
  const WallTime now = c.clock.Now();
  LiveTimes times(c.clock);
  const std::string zone(times.Utc({now.s - c.clock.UtcOffset()}).substr(19));
  int64_t page_views = 0;
  for (const SiteRec& site : c.t.Sites) page_views += site.PagesCounted;
  JsonWriter json(c.clock);
  json.Begin().Text("version", c.version).Time("started", c.t.Started).Time("now", now).Text("zone", zone);
  json.Flag("paused", !c.monitoring()).Number("classic_port", c.settings.WebAccessPort).Text("classic_path", "/");
  json.TextOrNull("user", request.user).Number("event", c.events ? static_cast<int64_t>(c.events->LastId()) : 0);
  json.Number("visitors", c.t.Visitors.Count()).Number("visitors_today", c.t.TodayVisitorCount);
  json.Number("page_views", page_views).End();
  return JsonReply(json.Take());
}

// Kept by hand; a test holds it against the running program.
HttpReply OpenApi(LiveContext& /*c*/, const LiveRequest& request) {
  return ServePageFile("openapi.json", request);
}

}  // namespace vantry
