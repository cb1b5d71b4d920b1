#include "ctl/replies.h"

#include <string>

#include <gtest/gtest.h>

#include "core/text.h"

namespace vantry {
namespace {

// Written with "|" for the separator, ESC.
std::string Wire(std::string_view text) {
  return ReplaceAll(std::string(text), "|", "\x1b");
}

const std::string kHead = Wire("rST|");
std::string Record(const std::string& name, const std::string& rest = "|3|1|2|4|1/5/2026 10:00:01|\n") {
  return Wire(name + rest);
}

TEST(ParseStatusReply, ReadsSites) {
  std::vector<SiteStatus> sites;
  ASSERT_TRUE(ParseStatusReply(kHead + Record("Shop") + Record("News (Paused) "), sites).ok());
  ASSERT_EQ(sites.size(), 2u);
  EXPECT_EQ(sites[0].name, "Shop");
  EXPECT_FALSE(sites[0].paused);
  EXPECT_EQ(sites[0].visitors, 3);
  EXPECT_EQ(sites[0].alerts, 1);
  EXPECT_EQ(sites[0].spiders, 2);
  EXPECT_EQ(sites[0].exceptions, 4);
  EXPECT_EQ(sites[0].last_read, "1/5/2026 10:00:01");
  EXPECT_EQ(sites[1].name, "News");
  EXPECT_TRUE(sites[1].paused);
}

TEST(ParseStatusReply, NoSitesIsAnAnswer) {
  std::vector<SiteStatus> sites;
  EXPECT_TRUE(ParseStatusReply(kHead, sites).ok());
  EXPECT_TRUE(sites.empty());
}

TEST(ParseStatusReply, NameMayHoldTheSeparator) {
  std::vector<SiteStatus> sites;
  ASSERT_TRUE(ParseStatusReply(kHead + Record("A\x1b[2JB"), sites).ok());
  ASSERT_EQ(sites.size(), 1u);
  EXPECT_EQ(sites[0].name, "A\x1b[2JB");
  EXPECT_EQ(sites[0].visitors, 3);
}

TEST(ParseStatusReply, EveryCutAnswerIsRefused) {
  const std::string whole = kHead + Record("Shop");
  std::vector<SiteStatus> sites;
  for (size_t size = 0; size < whole.size(); ++size) {
    if (size == kHead.size()) continue;  // The head alone is the answer without sites.
    EXPECT_EQ(ParseStatusReply(whole.substr(0, size), sites).fail, Fail::kBadData) << size;
  }
}

TEST(ParseStatusReply, RefusesWhatIsNoRecordAndShowsItHarmless) {
  std::vector<SiteStatus> sites;
  for (const std::string& bad : {std::string("HTTP/1.0 400 Bad\x1b[31m"), kHead + Record("S", "|x|1|1|1|d|\n"),
                                 kHead + Record("S", "|-1|1|1|1|d|\n"), kHead + "\n", std::string(1000, '\x1b')}) {
    const Status status = ParseStatusReply(bad, sites);
    EXPECT_EQ(status.fail, Fail::kBadData);
    EXPECT_EQ(status.text.find('\x1b'), std::string::npos);
    EXPECT_LT(status.text.size(), 200u);
  }
}

const std::string kOk = "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n";
const std::string kRow = "www.example.org\t7\tpc1.example\tindex.html\t10:00:00\t10:00:09\tIE6\thttp://a.example/\t\n";

TEST(ParseListReply, ReadsVisitors) {
  std::vector<ListedVisitor> visitors;
  ASSERT_TRUE(ParseListReply(kOk + kRow + "\t\t\t\t\t\t\t\t\n\r\n", visitors).ok());
  ASSERT_EQ(visitors.size(), 2u);
  EXPECT_EQ(visitors[0].domain, "www.example.org");
  EXPECT_EQ(visitors[0].visit_no, "7");
  EXPECT_EQ(visitors[0].dns, "pc1.example");
  EXPECT_EQ(visitors[0].page, "index.html");
  EXPECT_EQ(visitors[0].start_time, "10:00:00");
  EXPECT_EQ(visitors[0].last_time, "10:00:09");
  EXPECT_EQ(visitors[0].browser, "IE6");
  EXPECT_EQ(visitors[0].referrer, "http://a.example/");
  EXPECT_EQ(visitors[1].domain, "");
}

TEST(ParseListReply, NobodyThere) {
  std::vector<ListedVisitor> visitors(3);
  EXPECT_TRUE(ParseListReply(kOk + "\r\n", visitors).ok());
  EXPECT_TRUE(visitors.empty());
}

TEST(ParseListReply, EveryCutListIsRefused) {
  const std::string whole = kOk + kRow + "\r\n";
  std::vector<ListedVisitor> visitors;
  for (size_t size = 0; size < whole.size(); ++size) {
    EXPECT_EQ(ParseListReply(whole.substr(0, size), visitors).fail, Fail::kBadData) << size;
  }
}

TEST(ParseListReply, TellsLoginAndUnknownDomain) {
  std::vector<ListedVisitor> visitors;
  EXPECT_EQ(ParseListReply(kOk + "<html><body>\t<form action=\"/\"></form></body></html>\r\n", visitors).fail,
            Fail::kRefused);
  EXPECT_EQ(ParseListReply(kOk + "Please log in <FORM method=post>", visitors).fail, Fail::kRefused);
  const Status unknown =
      ParseListReply(kOk + "The Domain: x\x1b[2J.example is not being monitored by Vantry.", visitors);
  EXPECT_EQ(unknown.fail, Fail::kNotFound);
  EXPECT_EQ(unknown.text, "The Domain: x?[2J.example is not being monitored by Vantry.");
}

TEST(ParseListReply, ALookAlikeInAVisitorsTextIsAVisitor) {
  std::vector<ListedVisitor> visitors;
  const std::string row = "d\t1\tn\tThe Domain: x is not being monitored by\t1\t2\t<form\t<html>\t\n";
  ASSERT_TRUE(ParseListReply(kOk + row + "\r\n", visitors).ok());
  EXPECT_EQ(visitors.size(), 1u);
}

TEST(ParseListReply, TabsAndLineEndsOfAVisitorStayInTheirField) {
  struct Sent {
    const char *page, *referrer;
  };
  for (const Sent& c : {Sent{"a\tb", "-"},
                        {"\ta\t\tb\t", "x\ty"},
                        {"a\nb", "-"},
                        {"a\n\t\n", "x\n"},
                        {"-", "\t\t\t"},
                        {"12:00:00\tx", "10:00:00\t10:00:00"}}) {
    SCOPED_TRACE(c.page);
    const std::string row =
        std::string("d.example\t7\tpc1\t") + c.page + "\t10:00:00\t10:00:09\tIE6\t" + c.referrer + "\t\n";
    std::vector<ListedVisitor> visitors;
    ASSERT_TRUE(ParseListReply(kOk + row + kRow + "\r\n", visitors).ok());
    ASSERT_EQ(visitors.size(), 2u);
    EXPECT_EQ(visitors[0].page, c.page);
    EXPECT_EQ(visitors[0].start_time, "10:00:00");
    EXPECT_EQ(visitors[0].last_time, "10:00:09");
    EXPECT_EQ(visitors[0].browser, "IE6");
    EXPECT_EQ(visitors[0].referrer, c.referrer);
    EXPECT_EQ(visitors[1].dns, "pc1.example");
  }
}

TEST(ParseListReply, RefusesOtherServers) {
  std::vector<ListedVisitor> visitors;
  EXPECT_EQ(ParseListReply("SSH-2.0-x\r\n", visitors).fail, Fail::kBadData);
  EXPECT_EQ(ParseListReply("HTTP/1.0 404 Not Found\r\n\r\nnothing", visitors).fail, Fail::kBadData);
  EXPECT_EQ(ParseListReply("HTTP/1.0\r\n\r\n", visitors).fail, Fail::kBadData);
  EXPECT_EQ(ParseListReply(kOk + "a\tb\t\n\r\n", visitors).fail, Fail::kBadData);
}

}  // namespace
}  // namespace vantry
