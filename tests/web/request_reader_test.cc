#include "web/request_reader.h"

#include <gtest/gtest.h>

#include "web/line_framer.h"

namespace vantry {
namespace {

constexpr WallTime kNoon{1'000'000 * 60};

WebClient Opened() {
  WebClient client;
  OpenClient(client);
  return client;
}

TEST(RequestLine, IsCutIntoMethodPathQueryAndVersion) {
  struct Case {
    std::string line, method, path, query, version;
    WebState state;
  };
  for (const Case& c :
       std::vector<Case>{{"GET / HTTP/1.0", "GET", "/", "", "HTTP/1.0", WebState::kHeaders},
                         {"get /a/b?LIST&x=1?2 HTTP/1.1", "GET", "/a/b", "LIST&x=1?2", "HTTP/1.1", WebState::kHeaders},
                         {"GET /only", "GET", "", "", "/only", WebState::kHeaders},
                         {"POST /?SITES& HTTP/1.0 extra", "POST", "/", "SITES&", "HTTP/1.0 extra", WebState::kHeaders},
                         {"noblank", "", "", "", "", WebState::kRequestLine},
                         {"", "", "", "", "", WebState::kRequestLine}}) {
    WebClient client = Opened();
    EXPECT_EQ(TakeLine(client, c.line, true, "10.0.0.1", kNoon), ReadStep::kMore);
    EXPECT_EQ(client.Method, c.method) << c.line;
    EXPECT_EQ(client.Path, c.path) << c.line;
    EXPECT_EQ(client.Query, c.query) << c.line;
    EXPECT_EQ(client.Version, c.version) << c.line;
    EXPECT_EQ(client.State, c.state) << c.line;
  }
}

TEST(RequestLine, LoginEndsAfterSixMinutesOfSilenceOrAtAnotherAddress) {
  struct Case {
    int64_t seconds;
    std::string host;
    bool kept;
  };
  for (const Case& c :
       std::vector<Case>{{5 * 60, "10.0.0.1", true}, {6 * 60, "10.0.0.1", false}, {1, "10.0.0.2", false}}) {
    WebClient client = Opened();
    client.RemoteHost = "10.0.0.1";
    client.LastRequest = kNoon;
    client.LoggedIn = client.CredentialsGiven = true;
    TakeLine(client, "GET / HTTP/1.0", true, c.host, WallTime{kNoon.s + c.seconds});
    EXPECT_EQ(client.LoggedIn, c.kept);
    EXPECT_EQ(client.CredentialsGiven, c.kept);
    EXPECT_EQ(client.RemoteHost, c.host);
  }
}

TEST(Headers, ThirtyAreKeptAndLaterOnesReplaceTheLast) {
  WebClient client = Opened();
  TakeLine(client, "GET / HTTP/1.0", true, "h", kNoon);
  for (int i = 1; i <= 33; ++i) TakeLine(client, "H" + std::to_string(i) + ": x", true, "h", kNoon);
  EXPECT_EQ(client.HeaderCount, 30);
  EXPECT_EQ(client.Headers[29], "H33: x");
  EXPECT_EQ(client.Headers[28], "H29: x");
}

TEST(Headers, AcceptTellsAWapClient) {
  WebClient client = Opened();
  TakeLine(client, "GET / HTTP/1.0", true, "h", kNoon);
  TakeLine(client, "accept: text/vnd.wap.wml", true, "h", kNoon);
  EXPECT_TRUE(client.IsWAP);
  TakeLine(client, "no colon here", true, "h", kNoon);
  EXPECT_TRUE(client.IsWAP);
  EXPECT_EQ(client.HeaderCount, 2);
  CloseClient(client);
  OpenClient(client);
  EXPECT_TRUE(client.IsWAP) << "stays until an Accept header says otherwise";
  TakeLine(client, "GET / HTTP/1.0", true, "h", kNoon);
  TakeLine(client, "HTTP_ACCEPT: text/html, WAP.WML", true, "h", kNoon);
  EXPECT_FALSE(client.IsWAP) << "case counts";
}

TEST(Headers, EndCompletesAGetAndWaitsForABodyOtherwise) {
  for (const std::string method : {"GET", "POST", "HEAD", "OPTIONS"}) {
    WebClient client = Opened();
    TakeLine(client, method + " / HTTP/1.0", true, "h", kNoon);
    const ReadStep step = TakeLine(client, "", true, "h", kNoon);
    EXPECT_EQ(step, method == "GET" ? ReadStep::kRequestComplete : ReadStep::kMore);
    EXPECT_EQ(client.State, method == "GET" ? WebState::kHeaders : WebState::kBody);
  }
}

TEST(Body, FirstPieceIsTheWholeOfIt) {
  WebClient client = Opened();
  TakeLine(client, "POST / HTTP/1.0", true, "h", kNoon);
  TakeLine(client, "", true, "h", kNoon);
  EXPECT_EQ(TakeLine(client, "UserName= Anna+x &Password= geheim &B1=Submit", false, "h", kNoon),
            ReadStep::kRequestComplete);
  EXPECT_EQ(client.UserName, "ANNA+X");
  EXPECT_EQ(client.Password, " GEHEIM ");
  EXPECT_TRUE(client.CredentialsGiven);
  EXPECT_EQ(client.PostData, "UserName= Anna+x &Password= geheim &B1=Submit");
}

TEST(Body, LineEndStandsInFrontOfThePiece) {
  WebClient client = Opened();
  client.State = WebState::kBody;
  TakeLine(client, "x=1", true, "h", kNoon);
  EXPECT_EQ(client.PostData, "\r\nx=1");
  EXPECT_FALSE(client.CredentialsGiven);
}

TEST(FormValue, LosesItsLastCharacterAtTheEndOfTheText) {
  std::string value;
  EXPECT_TRUE(FormValue("UserName=a&Password=secret", "Password=", value));
  EXPECT_EQ(value, "secre");
  EXPECT_TRUE(FormValue("Password=", "Password=", value));
  EXPECT_EQ(value, "");
  EXPECT_FALSE(FormValue("password=x&", "Password=", value));
}

TEST(SplitCommand, ArgumentStandsBehindAmpersandAndEqualsSign) {
  struct Case {
    std::string query, word, argument;
  };
  for (const Case& c : std::vector<Case>{{"", "", ""},
                                         {"LIST", "LIST", "LIST"},
                                         {"LIST&", "LIST", ""},
                                         {" list &domain=www.x.example", "LIST", "www.x.example"},
                                         {"SITETABLE&site=my_site=1&b", "SITETABLE", "my site=1&b"},
                                         {"a=b", "A=B", "b"}}) {
    const Command command = SplitCommand(c.query);
    EXPECT_EQ(command.word, c.word) << c.query;
    EXPECT_EQ(command.argument, c.argument) << c.query;
  }
}

TEST(CloseClient, KeepsWhatALoginRestsOn) {
  WebClient client = Opened();
  client.UserName = "A";
  client.Password = "B";
  client.CredentialsGiven = client.LoggedIn = client.AllSites = true;
  client.Path = client.Query = client.PostData = "x";
  client.RemoteHost = "h";
  client.LastRequest = kNoon;
  CloseClient(client);
  EXPECT_EQ(client.State, WebState::kIdle);
  EXPECT_FALSE(client.LoggedIn);
  EXPECT_EQ(client.Path + client.Query + client.PostData, "");
  EXPECT_TRUE(client.CredentialsGiven && client.AllSites && client.InUse);
  EXPECT_EQ(client.UserName + client.Password + client.RemoteHost, "ABh");
}

TEST(LineFramer, FramesBytesHoweverTheyCome) {
  const std::string bytes = "GET / HTTP/1.0\r\n\r\na\rb\nc\r\r\nrest";
  for (const size_t piece : {size_t{1}, size_t{2}, size_t{3}, bytes.size()}) {
    LineFramer framer;
    std::vector<std::string> lines;
    for (size_t at = 0; at < bytes.size(); at += piece) {
      framer.Feed(bytes.substr(at, piece));
      while (auto line = framer.NextLine()) lines.push_back(*line);
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"GET / HTTP/1.0", "", "a\rb\nc\r"})) << piece;
    EXPECT_EQ(framer.RestSize(), 4u);
    EXPECT_EQ(framer.TakeRest(), "rest");
    EXPECT_EQ(framer.RestSize(), 0u);
  }
}

TEST(LineFramer, CutsLinesAtTheirLimit) {
  LineFramer framer;
  for (int i = 0; i < 64; ++i) {
    framer.Feed(std::string(32 * 1024, 'x'));
    EXPECT_FALSE(framer.NextLine());
    EXPECT_LE(framer.RestSize(), LineFramer::kMaxLine + 1);
  }
  framer.Feed("\r\nnext\r\n");
  EXPECT_EQ(framer.NextLine()->size(), LineFramer::kMaxLine);
  EXPECT_EQ(*framer.NextLine(), "next");
}

}  // namespace
}  // namespace vantry
