// Scripted tables behind the resources for other programs.
#pragma once

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "core/visitor_rows.h"
#include "live/event_log.h"
#include "live/live_context.h"
#include "live/route.h"
#include "support/database_rig.h"
#include "views/program_tables.h"

namespace vantry {

struct LiveAnswer {
  int status = 0;
  std::string text;
};

// All that a body has to say for now. `room` bytes are taken at a time; `between` is called after each time.
inline std::string Drain(HttpBody& body, size_t room = 4'096, const std::function<void()>& between = {}) {
  std::string text, bytes(room, '\0');
  for (;;) {
    const Filled filled = body.Fill(std::span<char>(bytes.data(), bytes.size()));
    text.append(bytes, 0, filled.bytes);
    if (filled.then != Filled::Then::kMore) return text;
    if (between) between();
  }
}

// Noon of 5 March 2026, an hour east of Greenwich; two sites without visitors.
struct LiveRig {
  DatabaseRig rig;
  LiveTables& t = rig.t;
  FakeLoop loop;
  Settings settings;
  ProgramTables history{*rig.database};
  std::unique_ptr<EventLog> events;
  LiveContext context{t, settings, rig.regional, rig.clock, history, "2.0.000", {}, {}, {}, nullptr};

  LiveRig() {
    rig.clock.utc_offset = 3'600;
    EXPECT_TRUE(rig.database->DatabaseReady());
    t.Started = rig.clock.Now();
    context.monitoring = [] { return true; };
    context.queues = [] { return LiveQueues{3, 2}; };
    for (int i = 0; i < 2; ++i) {
      SiteRec& site = t.Sites[static_cast<size_t>(i)];
      site.Domain = i == 0 ? "www.one.example" : "two.example:8080";
      site.HomePage = "index.html";
      site.Type = LogType::kNCSA;
      site.ReadOnce = site.CaughtUp = true;
    }
    events = std::make_unique<EventLog>(t, settings, rig.clock, loop);
    t.Live = context.events = events.get();
  }

  VisitorRec& AddVisitor(const std::string& ip, const std::string& page = "index.html", int16_t site = 1) {
    VisitorRec& v = *t.Visitors.At(t.Visitors.Add(site, ip));
    ++t.Site(site).CurrentVisitors;
    t.Visitors.ChangeName(v, ip);
    v.Page = page;
    v.StartTime = v.LastHitTime = v.LastPageTime = {rig.clock.now.s - 60};
    v.Status = 200;
    v.Pages = 1;
    v.Method = t.Visitors.Shared("GET");
    v.VisitNo = ++t.Site(site).TotalVisitors;
    v.VisitCount = 1;
    return v;
  }
  void RemoveVisitor(int16_t site, const std::string& ip) {
    const int32_t number = t.Visitors.Find(site, ip);
    t.Visitors.Remove({&number, 1}, [this](VisitorRec& v) { events->Left(v); });
    t.Visitors.CloseGaps();
  }

  HttpReply Reply(std::string_view path, std::string_view query = "", const std::string& last_event_id = "") {
    LiveRequest request;
    request.path = path;
    request.last_event_id = last_event_id;
    const auto parsed = ParseQuery(query);
    const Route* route = FindRoute(path, request.rest);
    if (!route || !parsed) return ErrorReply(404, "no such route, or a bad query");
    request.query = *parsed;
    return route->resource(context, request);
  }
  LiveAnswer Get(std::string_view path, std::string_view query = "") {
    HttpReply reply = Reply(path, query);
    if (!reply.body) return {reply.status, reply.text.empty() ? std::string(reply.constant) : reply.text};
    return {reply.status, Drain(*reply.body)};
  }
  // As above, below /api/v1/, and right.
  std::string Api(const std::string& name, std::string_view query = "") {
    const LiveAnswer answer = Get("/api/v1/" + name, query);
    EXPECT_EQ(answer.status, 200) << answer.text;
    return answer.text;
  }
  // Lets the events that were gathered be seen.
  void ShowEvents() { loop.Tick(EventLog::kGatherMs); }
};

// The value of a list's "next", empty if it is null.
inline std::string NextOf(const std::string& list) {
  constexpr std::string_view kName = "\"next\":\"";
  const size_t at = list.find(kName);
  if (at == std::string::npos) return {};
  return list.substr(at + kName.size(), list.find('"', at + kName.size()) - at - kName.size());
}

// How often `part` is in the text.
inline size_t CountOf(std::string_view text, std::string_view part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

}  // namespace vantry
