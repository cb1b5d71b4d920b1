#include "core/csv_text.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(CsvText, FieldsAreQuotedAndFormulasMadeHarmless) {
  const struct {
    std::string_view bytes, field;
  } cases[] = {{"", ""},
               {"plain", "plain"},
               {"a,b", "\"a,b\""},
               {"say \"x\"", "\"say \"\"x\"\"\""},
               {" blank", "\" blank\""},
               {"=1+1", "'=1+1"},
               {"  =1+1", "'  =1+1"},
               {"+cmd", "'+cmd"},
               {"-cmd", "'-cmd"},
               {"@cmd", "'@cmd"},
               {"\tcmd", "' cmd"},
               {"\rcmd", "' cmd"},
               {"-", "'-"},
               {"-1-1", "'-1-1"},
               {"-1", "-1"},
               {"+1.5", "+1.5"},
               {"a\r\nb", "a  b"},
               {"caf\xE9", "caf\xC3\xA9"},
               {"caf\xC3\xA9", "caf\xC3\xA9"}};
  for (const auto& c : cases) EXPECT_EQ(CsvField(c.bytes), c.field) << c.bytes;
}

}  // namespace
}  // namespace vantry
