// A change as the bytes of a file.
#include "forms/edit_request.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(EditRequestForm, EveryByteComesThrough) {
  std::string all;
  for (int c = 0; c < 256; ++c) all += static_cast<char>(c);
  const EditRequest sent{EditVerb::kSetAlert, all, "new", true, {{"A=b\r\nend\n", all}, {"", ""}, {"%0a", "%"}}};
  EditRequest read;
  ASSERT_TRUE(ParseRequest(FormatRequest(sent), read).ok());
  EXPECT_EQ(read.verb, sent.verb);
  EXPECT_EQ(read.name, sent.name);
  EXPECT_EQ(read.number, "new");
  EXPECT_TRUE(read.yes);
  ASSERT_EQ(read.values.size(), 3U);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(read.values[i].key, sent.values[i].key);
    EXPECT_EQ(read.values[i].value, sent.values[i].value);
  }
}

TEST(EditRequestForm, IsThis) {
  EXPECT_EQ(FormatRequest({EditVerb::kSetSite, "My 100%", "", false, {{"Mask", "*.log"}}}),
            "vantry-edit 1\nset-site\nMy 100%25\n\n\nMask\n*.log\nend\n");
}

TEST(EditRequestForm, NothingLessThanAWholeOneIsTaken) {
  const std::string whole = FormatRequest({EditVerb::kSet, "", "", false, {{"A", "b"}}});
  for (size_t size = 0; size < whole.size(); ++size) {
    EditRequest read;
    EXPECT_FALSE(ParseRequest(whole.substr(0, size), read).ok()) << size;
  }
  const std::pair<std::string, const char*> cases[] = {
      {"vantry-edit 2\nset\n\n\n\nend\n", "This Vantry does not know such a request"},
      {"vantry-edit 1\nfly\n\n\n\nend\n", "This Vantry does not know such a request"},
      {"vantry-edit 1\nend\n", "The request is damaged"},
      {"vantry-edit 1\nset\n\n\n\nA\nend\n", "The request is damaged"},
      {"vantry-edit 1\nset\n%\n\n\nend\n", "The request is damaged"},
      {"vantry-edit 1\nset\n%4\n\n\nend\n", "The request is damaged"},
      {"vantry-edit 1\nset\n%4x\n\n\nend\n", "The request is damaged"},
      {"vantry-edit 1\nset\n\n\n\nend\nmore\n", "The request is damaged"},
      {std::string(kMostRequestBytes, 'a') + "\n", "The request is damaged"},
  };
  for (const auto& [bytes, text] : cases) {
    EditRequest read;
    EXPECT_EQ(ParseRequest(bytes, read).text, text);
  }
  EditRequest many;
  many.values.resize(kMostValues + 1);
  EditRequest read;
  EXPECT_FALSE(ParseRequest(FormatRequest(many), read).ok());
  many.values.resize(kMostValues);
  EXPECT_TRUE(ParseRequest(FormatRequest(many), read).ok());
}

TEST(EditRequestForm, ATokenNamesNoFileElsewhere) {
  EXPECT_TRUE(IsToken("0123456789abcdef0123456789abcdef"));
  for (const char* text : {"", "0123456789abcdef0123456789abcde", "0123456789abcdef0123456789abcdef0",
                           "../../../../../../../../etc/pass", "0123456789ABCDEF0123456789ABCDEF"}) {
    EXPECT_FALSE(IsToken(text)) << text;
  }
}

TEST(NearestNameOf, IsOneThatIsMuchLikeIt) {
  const std::vector<std::string_view> names = {"Mask", "Folder", "FTPDomain", "Domain"};
  EXPECT_EQ(NearestName("msk", names), "Mask");
  EXPECT_EQ(NearestName("DOMAIN", names), "Domain");
  EXPECT_EQ(NearestName("FTPDomian", names), "FTPDomain");
  EXPECT_EQ(NearestName("Quux", names), "");
  EXPECT_EQ(NearestName("", names), "");
  EXPECT_EQ(NearestName(std::string(1'000'000, 'x'), names), "");
}

}  // namespace
}  // namespace vantry
