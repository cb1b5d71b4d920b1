// The objects of which lists and events are made.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "live/json_writer.h"
#include "live/live_context.h"

namespace vantry {

void WriteVisitor(const VisitorRec& visitor, JsonWriter& json);
// Its values, for an object that has more.
void WriteVisitorFields(const VisitorRec& visitor, JsonWriter& json);
void WriteSite(const LiveTables& t, int16_t site, JsonWriter& json);
void WriteSpider(uint64_t id, const SpiderRow& row, JsonWriter& json);
void WriteAlert(const LiveTables& t, uint64_t id, const AlertRow& row, JsonWriter& json);
// `key` is that of the visitor whom it is about, empty where none is known.
void WriteException(const Settings& settings, uint64_t id, const ExceptionRow& row, std::string_view key,
                    JsonWriter& json);

// How far a site's log was read, and how much of it was there when its size was looked at last.
int64_t BytesRead(const SiteRec& site);
int64_t BytesBehind(const SiteRec& site);
// "ok", "paused", "sleeping", "reading" or "waiting".
std::string_view SiteState(const SiteRec& site);
// What a list of sites tells of this one, besides its scans: two texts differ where that has changed.
std::string SiteNumbers(const SiteRec& site);

}  // namespace vantry
