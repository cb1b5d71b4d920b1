#include "import/sample_line.h"

#include <gtest/gtest.h>

#include "import/apache.h"
#include "import/caddy.h"
#include "import/nginx.h"

namespace vantry {
namespace {

struct FormatCase {
  std::string name, sample;
  bool classic, corrected;  // Whether it can be read.
  std::string lack;
};

const std::string kNginx = "$remote_addr - $remote_user [$time_local] \"$request\" $status $body_bytes_sent";
const std::string kFrom = " \"$http_referer\" \"$http_user_agent\"";
const std::string kApache = "%h %l %u %t \\\"%r\\\" %>s %O";

TEST(JudgeSample, SaysWhatTheReaderDoes) {
  const FormatCase kCases[] = {
      {"nginx combined", NginxSample(kNginx + kFrom), true, true, ""},
      {"nginx common", NginxSample(kNginx), true, true, "no referrers and no browsers"},
      {"nginx with a referrer alone", NginxSample(kNginx + " \"$http_referer\""), true, true, "no browsers"},
      {"more fields after it", NginxSample(kNginx + kFrom + " \"$http_x_forwarded_for\" $request_time"), true, true,
       ""},
      {"a field before the referrer", NginxSample(kNginx + " $request_time" + kFrom), false, false, ""},
      {"browser and referrer in turn", NginxSample(kNginx + " \"$http_user_agent\" \"$http_referer\""), false, false,
       ""},
      {"a host in front", NginxSample("$host " + kNginx + kFrom), false, true, ""},
      {"the client of a proxy", NginxSample("$http_x_forwarded_for - - [$time_local] \"$request\" $status $bytes_sent"),
       true, true, "no referrers and no browsers"},
      {"another time", NginxSample("$remote_addr - - [$time_iso8601] \"$request\" $status $body_bytes_sent"), false,
       false, ""},
      {"without a user", NginxSample("$remote_addr [$time_local] \"$request\" $status $body_bytes_sent"), false, false,
       ""},
      {"without a request", NginxSample("$remote_addr - - [$time_local] $status $body_bytes_sent"), false, false, ""},
      {"JSON", NginxSample("{\"ip\":\"$remote_addr\"}"), false, false, ""},
      {"nothing", "", false, false, ""},
      {"Apache common", ApacheSample(kApache), true, true, "no referrers and no browsers"},
      {"Apache vhost_combined", ApacheSample("%v:%p " + kApache + " \\\"%{Referer}i\\\" \\\"%{User-Agent}i\\\""), false,
       true, ""},
      {"Apache combinedio", ApacheSample(kApache + " \\\"%{Referer}i\\\" \\\"%{User-Agent}i\\\" %I %O"), true, true,
       ""},
      {"Apache referer", ApacheSample("%{Referer}i -> %U"), false, false, ""},
      {"several lines", ApacheSample(kApache + "\\n%I"), false, false, ""},
      {"Caddy common", CaddySample("{common_log}", ""), true, true, "no referrers and no browsers"},
      {"Caddy with its own time", CaddySample("{request>remote_ip} - - [{ts}] \"{request>uri}\" {status} {size}", ""),
       false, false, ""},
  };
  for (const FormatCase& row : kCases) {
    EXPECT_EQ(JudgeSample(row.sample, false).readable, row.classic) << row.name << "\n" << row.sample;
    const FormatOpinion opinion = JudgeSample(row.sample, true);
    EXPECT_EQ(opinion.readable, row.corrected) << row.name << "\n" << row.sample << "\n" << opinion.why;
    EXPECT_EQ(opinion.lack, row.lack) << row.name;
    EXPECT_EQ(opinion.why.empty(), row.corrected) << row.name;
  }
}

}  // namespace
}  // namespace vantry
