// No value of a configuration file can bring in a line of its own.
#include <gtest/gtest.h>

#include "config/exception_types.h"
#include "config/settings_file.h"
#include "config/value_forms.h"

namespace vantry {
namespace {

TEST(OneLine, LineEndsBecomeBlanks) {
  EXPECT_EQ(OneLine("a\r\nb\nc\rd"), "a  b c d");
  EXPECT_EQ(OneLine(""), "");
}

TEST(OneLine, SettingsKeepEachValueOnItsLine) {
  Settings settings;
  settings.EmailSubject = "x\r\nWebAccessControl=False";
  settings.DNSMask[0] = "*.a\nWebAccessPort= 1";
  settings.Extension = {"htm\rReverseDNS=False"};
  settings.WebAccessControl = true;
  Settings read;
  EXPECT_FALSE(ParseSettings(FormatSettings(settings), read));
  EXPECT_TRUE(read.WebAccessControl && read.ReverseDNS);
  EXPECT_EQ(read.WebAccessPort, 8004);
  EXPECT_EQ(read.EmailSubject, "x  WebAccessControl=False");
}

TEST(OneLine, ExceptionTypesKeepEachValueOnItsLine) {
  std::vector<ExceptionType> types(1), read;
  types[0].Description = "x\r\nNumber=7";
  EXPECT_FALSE(ReadExTypes(FormatExTypes(types), read));
  ASSERT_EQ(read.size(), 1u);
  EXPECT_EQ(read[0].Description, "x  Number=7");
}

}  // namespace
}  // namespace vantry
