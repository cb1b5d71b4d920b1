// The resources, by their place in the table of addresses.
#pragma once

#include "live/route.h"

namespace vantry {

HttpReply Health(LiveContext& c, const LiveRequest& request);
HttpReply Readiness(LiveContext& c, const LiveRequest& request);
HttpReply Program(LiveContext& c, const LiveRequest& request);
HttpReply Metrics(LiveContext& c, const LiveRequest& request);
HttpReply Sites(LiveContext& c, const LiveRequest& request);
HttpReply Visitors(LiveContext& c, const LiveRequest& request);
HttpReply OneVisitor(LiveContext& c, const LiveRequest& request);
HttpReply PagesNow(LiveContext& c, const LiveRequest& request);
HttpReply ReferrersNow(LiveContext& c, const LiveRequest& request);
HttpReply CountriesNow(LiveContext& c, const LiveRequest& request);
HttpReply Spiders(LiveContext& c, const LiveRequest& request);
HttpReply AlertsToday(LiveContext& c, const LiveRequest& request);
HttpReply ExceptionsToday(LiveContext& c, const LiveRequest& request);
HttpReply Rates(LiveContext& c, const LiveRequest& request);
HttpReply HistoryOfVisits(LiveContext& c, const LiveRequest& request);
HttpReply HistoryOfDays(LiveContext& c, const LiveRequest& request);
HttpReply Events(LiveContext& c, const LiveRequest& request);
HttpReply OpenApi(LiveContext& c, const LiveRequest& request);

}  // namespace vantry
