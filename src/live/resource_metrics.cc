// What runs in the program, as numbers for those who watch many programs.
#include <array>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include "core/shown_bytes.h"
#include "core/text.h"
#include "live/event_log.h"
#include "live/list_query.h"
#include "live/live_rows.h"
#include "live/live_times.h"
#include "live/resources.h"

namespace vantry {
namespace {

using prometheus::MetricFamily;
using prometheus::MetricType;

struct MetricNames {
  const char* name;
  const char* help;
  MetricType type;
};

// A number of the program as a whole.
struct ProgramMetric {
  MetricNames names;
  double (*value)(LiveContext& c);
};

// A number of each site; empty while there is none.
struct SiteMetric {
  MetricNames names;
  std::optional<double> (*value)(const SiteRec& site, LiveTimes& times);
};

// Numbers told apart by a label of a fixed set.
struct LabelledMetric {
  MetricNames names;
  const char* label;
  std::vector<std::pair<std::string, double>> (*values)(LiveContext& c);
};

// Bytes of memory that the process holds, 0 where the system does not tell.
double ResidentBytes(LiveContext& /*c*/) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    constexpr std::string_view kName = "VmRSS:";
    if (!line.starts_with(kName)) continue;
    const std::string number = ReplaceAll(line.substr(kName.size()), "\t", " ");
    return 1'024.0 * LeadingNumber(Trim(number));
  }
  return 0;
}

std::optional<double> Stamp(LiveTimes& times, int64_t civil_seconds) {
  if (civil_seconds == 0) return std::nullopt;
  return static_cast<double>(times.UnixSeconds(civil_seconds));
}

constexpr auto kGauge = MetricType::Gauge;
constexpr auto kCounter = MetricType::Counter;

constexpr std::array kProgramMetrics = {
    ProgramMetric{
        {"vantry_start_time_seconds", "When the program was started, since 1970.", kGauge},
        [](LiveContext& c) { return Stamp(*std::make_unique<LiveTimes>(c.clock), c.t.Started.s).value_or(0); }},
    ProgramMetric{{"vantry_paused", "1 while monitoring is paused.", kGauge},
                  [](LiveContext& c) { return c.monitoring() ? 0.0 : 1.0; }},
    ProgramMetric{{"vantry_visitors", "Visitors on line, of all sites.", kGauge},
                  [](LiveContext& c) { return double(c.t.Visitors.Count()); }},
    ProgramMetric{{"vantry_mails_waiting", "Notifications and mails that no mail server has taken yet.", kGauge},
                  [](LiveContext& c) { return double(c.queues().mails); }},
    ProgramMetric{{"vantry_names_waiting", "Host names that name servers were asked for.", kGauge},
                  [](LiveContext& c) { return double(c.queues().names); }},
    ProgramMetric{{"vantry_resident_memory_bytes", "Memory that the process holds.", kGauge}, ResidentBytes},
    ProgramMetric{{"vantry_live_streams", "Readers of the live events.", kGauge},
                  [](LiveContext& c) { return c.events ? double(c.events->Streams()) : 0.0; }},
    ProgramMetric{{"vantry_live_events_total", "Live events since the start.", kCounter},
                  [](LiveContext& c) { return c.events ? double(c.events->Count()) : 0.0; }},
};

constexpr std::array kSiteMetrics = {
    SiteMetric{{"vantry_site_visitors", "Visitors on line.", kGauge},
               [](const SiteRec& s, LiveTimes&) -> std::optional<double> { return s.CurrentVisitors; }},
    SiteMetric{{"vantry_site_visits_total", "Visits that were counted.", kCounter},
               [](const SiteRec& s, LiveTimes&) -> std::optional<double> { return s.TotalVisitors; }},
    SiteMetric{{"vantry_site_page_views_total", "Page views that were counted.", kCounter},
               [](const SiteRec& s, LiveTimes&) -> std::optional<double> { return s.PagesCounted; }},
    SiteMetric{{"vantry_site_spider_visits_total", "Visits of spiders.", kCounter},
               [](const SiteRec& s, LiveTimes&) -> std::optional<double> { return s.TotalSpiders; }},
    SiteMetric{{"vantry_site_alerts_total", "Alerts that were raised.", kCounter},
               [](const SiteRec& s, LiveTimes&) -> std::optional<double> { return s.TotalAlerts; }},
    SiteMetric{{"vantry_site_exceptions_total", "Exceptions that were raised.", kCounter},
               [](const SiteRec& s, LiveTimes&) -> std::optional<double> { return s.TotalExceptions; }},
    SiteMetric{{"vantry_site_log_position_bytes", "How far the present log was read.", kGauge},
               [](const SiteRec& s, LiveTimes&) -> std::optional<double> { return BytesRead(s); }},
    SiteMetric{{"vantry_site_log_behind_bytes", "What the log had beyond that place when its size was last looked at.",
                kGauge},
               [](const SiteRec& s, LiveTimes&) -> std::optional<double> { return BytesBehind(s); }},
    SiteMetric{{"vantry_site_last_line_timestamp_seconds", "Time of the newest line, since 1970.", kGauge},
               [](const SiteRec& s, LiveTimes& times) { return Stamp(times, s.LastReadDateTime.s); }},
    SiteMetric{{"vantry_site_last_scan_timestamp_seconds", "End of the last scan, since 1970.", kGauge},
               [](const SiteRec& s, LiveTimes& times) {
                 return s.ScanCount > 0 ? Stamp(times, s.LastScanTime.s) : std::nullopt;
               }},
    SiteMetric{{"vantry_site_scans_total", "Scans that were started.", kCounter},
               [](const SiteRec& s, LiveTimes&) -> std::optional<double> { return s.ScanCount; }},
    SiteMetric{{"vantry_site_scan_seconds_total", "Time spent in scans of local logs.", kCounter},
               [](const SiteRec& s, LiveTimes&) -> std::optional<double> { return double(s.ScanMs) / 1e3; }},
    SiteMetric{{"vantry_site_paused", "1 while the site is paused or asleep.", kGauge},
               [](const SiteRec& s, LiveTimes&) -> std::optional<double> { return s.Rests() ? 1 : 0; }},
    SiteMetric{{"vantry_site_waiting_for_log", "1 while there is no log to read.", kGauge},
               [](const SiteRec& s, LiveTimes&) -> std::optional<double> { return s.WaitsForLog ? 1 : 0; }},
};

const std::array kLabelledMetrics = {
    LabelledMetric{{"vantry_build_info", "1, with the version of the program.", kGauge},
                   "version",
                   [](LiveContext& c) {
                     return std::vector<std::pair<std::string, double>>{{c.version, 1}};
                   }},
    LabelledMetric{{"vantry_exceptions_total", "Exceptions since the start, by the number of their type.", kCounter},
                   "number",
                   [](LiveContext& c) {
                     std::vector<std::pair<std::string, double>> values;
                     if (!c.events) return values;
                     for (const auto& [number, count] : c.events->Exceptions()) {
                       values.emplace_back(std::to_string(number), count);
                     }
                     return values;
                   }},
    LabelledMetric{{"vantry_history_rows", "Rows of the tables of the history.", kGauge},
                   "table",
                   [](LiveContext& c) {
                     return c.history_rows ? c.history_rows() : std::vector<std::pair<std::string, double>>();
                   }},
};

void AddValue(MetricFamily& family, double value, const char* label = nullptr, std::string text = {}) {
  prometheus::ClientMetric& metric = family.metric.emplace_back();
  if (label) metric.label.push_back({label, std::move(text)});
  (family.type == MetricType::Counter ? metric.counter.value : metric.gauge.value) = value;
}

MetricFamily FamilyOf(const MetricNames& names) {
  return {names.name, names.help, names.type, {}};
}

// Family after family: with a thousand sites each takes a fraction of a millisecond, all of them more than the loop
// should stand still.
class MetricsPieces {
 public:
  explicit MetricsPieces(LiveContext& c) : c_(c), times_(c.clock) {
    std::set<std::string> known;
    for (const SiteRec& site : c_.t.Sites) {
      std::string label = ShownBytes(site.Name);
      // Two of one name would be one and the same series.
      if (!known.insert(label).second) {
        label += " #" + std::to_string(&site - c_.t.Sites.data() + 1);
        known.insert(label);
      }
      labels_.push_back(std::move(label));
    }
  }

  // As a PieceSource.
  bool Next(std::string& out) {
    std::vector<MetricFamily> families;
    if (place_ == 0) {
      AddProgram(families);
    } else {
      families.push_back(OfSites(kSiteMetrics[place_ - 1]));
    }
    std::ostringstream text;
    prometheus::TextSerializer().Serialize(text, families);
    out += text.str();
    return place_++ < kSiteMetrics.size();
  }

 private:
  void AddProgram(std::vector<MetricFamily>& families) {
    for (const ProgramMetric& metric : kProgramMetrics) {
      AddValue(families.emplace_back(FamilyOf(metric.names)), metric.value(c_));
    }
    for (const LabelledMetric& metric : kLabelledMetrics) {
      MetricFamily family = FamilyOf(metric.names);
      for (auto& [text, value] : metric.values(c_)) AddValue(family, value, metric.label, text);
      families.push_back(std::move(family));
    }
  }

  // Sites may be added meanwhile: they come next time.
  MetricFamily OfSites(const SiteMetric& metric) {
    MetricFamily family = FamilyOf(metric.names);
    for (size_t i = 0; i < std::min(labels_.size(), c_.t.Sites.size()); ++i) {
      const SiteRec& site = c_.t.Sites[i];
      if (site.Deleted) continue;
      if (const auto value = metric.value(site, times_)) AddValue(family, *value, "site", labels_[i]);
    }
    return family;
  }

  LiveContext& c_;
  LiveTimes times_;
  std::vector<std::string> labels_;
  size_t place_ = 0;  // 0 for those of the program, then one above that in kSiteMetrics.
};

}  // namespace

HttpReply Metrics(LiveContext& c, const LiveRequest& /*request*/) {
  auto pieces = std::make_shared<MetricsPieces>(c);
  return PiecesReply("text/plain; version=0.0.4; charset=utf-8",
                     [pieces](std::string& out) { return pieces->Next(out); });
}

}  // namespace vantry
