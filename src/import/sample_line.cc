#include "import/sample_line.h"

#include "core/tables.h"
#include "core/text.h"
#include "logs/formats.h"
#include "logs/line_parser.h"
#include "logs/recogniser.h"
#include "ports/clock.h"

namespace vantry {
namespace {

// A line with a date of its own needs no clock.
class NoClock final : public Clock {
 public:
  WallTime Now() const override { return {}; }
  SteadyTime Steady() const override { return {}; }
  int32_t UtcOffset() const override { return 0; }
  int32_t UtcOffsetAt(UtcTime) const override { return 0; }
};

bool IsThereOr(std::string_view value, std::string_view wanted, bool in_line) {
  return in_line ? Contains(value, wanted) : value.empty() || value == "-";
}

FormatOpinion No(std::string why) {
  return {false, std::move(why), {}};
}

FormatOpinion JudgeFields(const HitRec& hit, const std::string& line) {
  if (hit.HitIP != SampleVisit::kClient && hit.HitIP != SampleVisit::kOtherAddress) {
    return No("the client's address is not where it is in the common format");
  }
  if (!StartsWith(hit.HitPage, SampleVisit::kTarget)) return No("the request is not where it is in the common format");
  if (hit.HitStatus != 200) return No("the status does not follow the request");
  // The classic cut of a line takes the agent's first word.
  const std::string_view agent = SampleVisit::kAgent.substr(0, SampleVisit::kAgent.find(' '));
  const bool has_referrer = Contains(line, SampleVisit::kReferrer), has_agent = Contains(line, agent);
  if (!IsThereOr(hit.HitReferrer, SampleVisit::kReferrer, has_referrer) || !IsThereOr(hit.HitAgent, agent, has_agent)) {
    return No("after the number of bytes other fields stand in place of the referrer and the browser");
  }
  FormatOpinion yes{true, {}, {}};
  if (!has_referrer) yes.lack = has_agent ? "no referrers" : "no referrers and no browsers";
  if (has_referrer && !has_agent) yes.lack = "no browsers";
  return yes;
}

}  // namespace

FormatOpinion JudgeSample(const std::string& line, bool quoted_fields) {
  if (line.empty()) return No("the format is not known");
  if (line.front() == '{') return No("the log is JSON");
  if (line.find_first_of("\r\n") != std::string::npos) return No("a hit takes several lines");
  const auto log = RecogniseLog(line + "\n", quoted_fields);
  if (!log || log->type != LogType::kNCSA) return No("its lines are not of the common or the combined format");
  HitRec hit;
  int32_t shift = 0;
  const NoClock clock;
  LineParser parser(hit, shift, clock);
  parser.SetFormat(FormatOf(LogType::kNCSA), {.quoted_fields = quoted_fields});
  (void)parser.ReadTime(line);
  SiteRec site;
  if (MakeDay(2026, 3, 5) != hit.HitDate || hit.HitTime != 12 * 3600 + 34 * 60 + 56) {
    return No("the time is not as it is in the common format");
  }
  (void)parser.ReadPage(site);
  parser.ReadAddress();
  parser.ReadRemainingFields();
  return JudgeFields(hit, line);
}

}  // namespace vantry
