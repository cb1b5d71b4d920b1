#include "live/route.h"

#include <algorithm>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "live/page_files.h"
#include "support/fake_http_server.h"

namespace vantry {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;

TEST(ParseQuery, DecodesNamesAndValues) {
  EXPECT_THAT(*ParseQuery("a=1&b=%41+%2B&c&=x&%64=%3D"),
              ElementsAre(Pair("a", "1"), Pair("b", "A +"), Pair("c", ""), Pair("", "x"), Pair("d", "=")));
  EXPECT_THAT(*ParseQuery("a=b=c&&"), ElementsAre(Pair("a", "b=c")));
  EXPECT_TRUE(ParseQuery("")->empty());
}

TEST(ParseQuery, RefusesWhatCanBeReadInTwoWays) {
  EXPECT_FALSE(ParseQuery("a=1&a=1"));
  EXPECT_FALSE(ParseQuery("a=1&%61=1"));
  for (const char* text : {"%", "a=%4", "a=%g1", "%0x=1", "a=%-1"}) EXPECT_FALSE(ParseQuery(text)) << text;
  std::string many;
  for (size_t i = 0; i < kMostParameters; ++i) many += "a" + std::to_string(i) + "&";
  EXPECT_TRUE(ParseQuery(many));
  EXPECT_FALSE(ParseQuery(many + "b"));
}

TEST(FindRoute, TakesOpenEndsAndNothingElse) {
  std::string rest;
  ASSERT_TRUE(FindRoute("/assets/a/b", rest));
  EXPECT_EQ(rest, "a/b");
  EXPECT_FALSE(FindRoute("/assets", rest));
  EXPECT_FALSE(FindRoute("/healthz2", rest));
  ASSERT_TRUE(FindRoute("/", rest));
  EXPECT_EQ(rest, "");
}

// What people and machines may see without a login is on purpose.
TEST(Routes, OnlyTheseAreOpen) {
  std::string open;
  for (const Route& route : kRoutes) {
    if (route.entry == Entry::kOpen) open += std::string(route.path) + " ";
  }
  EXPECT_EQ(open, "/assets/* /healthz /readyz ");
}

TEST(ErrorReply, IsJsonWhateverTheMessage) {
  EXPECT_EQ(ErrorReply(404, "no \"a\\b\"\n\x01").text, R"({"error":{"status":404,"message":"no \"a\\b\"\n\u0001"}})");
}

TEST(PiecesBody, GivesAllInAnyRoom) {
  for (const size_t room : {1, 3, 100}) {
    int pieces = 0;
    const auto body = PiecesBody([&pieces](std::string& out) {
      if (pieces != 2) out += "piece " + std::to_string(pieces);  // One is empty.
      return ++pieces < 5;
    });
    std::string text, buffer(room, '\0');
    Filled filled;
    do {
      filled = body->Fill(buffer);
      text.append(buffer, 0, filled.bytes);
    } while (filled.then == Filled::Then::kMore);
    EXPECT_EQ(text, "piece 0piece 1piece 3piece 4");
  }
}

TEST(AcceptsGzip, ReadsTheHeader) {
  for (const char* yes : {"gzip", "br, gzip;q=0.5", "deflate, GZIP", "*", "gzip;q=1"})
    EXPECT_TRUE(AcceptsGzip(yes)) << yes;
  for (const char* no : {"", "br", "gzip;q=0", "gzip; q=0.000", "xgzip"}) EXPECT_FALSE(AcceptsGzip(no)) << no;
}

TEST(PageFiles, PagesAreKeptByNobody) {
  for (const PageFile& file : kPageFiles) {
    if (!file.name.ends_with(".html")) continue;
    LiveRequest request;
    request.query = {{"v", std::string(file.version)}};
    request.if_none_match = "\"" + std::string(file.version) + "\"";
    const HttpReply reply = ServePageFile(file.name, request);
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(HeaderOf(reply, "Cache-Control"), "");  // So "no-store" is put in.
    EXPECT_EQ(HeaderOf(reply, "ETag"), "");
  }
}

TEST(PageFiles, AreForGoodUnderTheirVersionAlone) {
  const auto script =
      std::find_if(kPageFiles.begin(), kPageFiles.end(), [](const auto& f) { return f.name == "main.js"; });
  ASSERT_NE(script, kPageFiles.end());
  const PageFile& file = *script;
  EXPECT_TRUE(file.plain.find("./table.js?v=" + std::string(file.version)) != std::string_view::npos);
  LiveRequest request;
  HttpReply reply = ServePageFile(file.name, request);
  EXPECT_EQ(HeaderOf(reply, "Cache-Control"), "no-cache");
  EXPECT_EQ(reply.constant, file.plain);
  EXPECT_EQ(HeaderOf(reply, "Content-Encoding"), "");
  request.query = {{"v", std::string(file.version)}};
  EXPECT_THAT(HeaderOf(ServePageFile(file.name, request), "Cache-Control"), HasSubstr("immutable"));
  request.query = {{"v", "0"}};
  EXPECT_EQ(HeaderOf(ServePageFile(file.name, request), "Cache-Control"), "no-cache");
  request.if_none_match = "W/\"" + std::string(file.version) + "\"";
  EXPECT_EQ(ServePageFile(file.name, request).status, 304);
  request = {};
  request.gzip = true;
  reply = ServePageFile(file.name, request);
  EXPECT_EQ(HeaderOf(reply, "Content-Encoding") == "gzip", file.packed.size() < file.plain.size());
  EXPECT_EQ(ServePageFile("../CMakeLists.txt", request).status, 404);
}

}  // namespace
}  // namespace vantry
