#include <array>

#include "live/page_files.h"
#include "live/resources.h"
#include "live/route.h"

namespace vantry {
namespace {

constexpr std::array kTable = {
    Route{"/", Entry::kPerson, FrontPage},
    Route{"/assets/*", Entry::kOpen, Asset},
    Route{"/healthz", Entry::kOpen, Health},
    Route{"/readyz", Entry::kOpen, Readiness},
    Route{"/metrics", Entry::kMachine, Metrics},
    Route{"/api/v1/program", Entry::kMachine, Program},
    Route{"/api/v1/sites", Entry::kMachine, Sites},
    Route{"/api/v1/visitors", Entry::kMachine, Visitors},
    Route{"/api/v1/visitors/*", Entry::kMachine, OneVisitor},
    Route{"/api/v1/pages", Entry::kMachine, PagesNow},
    Route{"/api/v1/referrers", Entry::kMachine, ReferrersNow},
    Route{"/api/v1/countries", Entry::kMachine, CountriesNow},
    Route{"/api/v1/spiders", Entry::kMachine, Spiders},
    Route{"/api/v1/alerts", Entry::kMachine, AlertsToday},
    Route{"/api/v1/exceptions", Entry::kMachine, ExceptionsToday},
    Route{"/api/v1/rates", Entry::kMachine, Rates},
    Route{"/api/v1/history/visits", Entry::kMachine, HistoryOfVisits},
    Route{"/api/v1/history/days", Entry::kMachine, HistoryOfDays},
    Route{"/api/v1/events", Entry::kMachine, Events},
    Route{"/api/v1/openapi.json", Entry::kMachine, OpenApi},
};

}  // namespace

const std::span<const Route> kRoutes = kTable;

}  // namespace vantry
