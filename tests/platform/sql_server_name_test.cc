#include "platform/sql_server_name.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

struct Case {
  std::string_view text, name;
};

TEST(SqlServerName, IsReadInAllItsForms) {
  constexpr Case kCases[] = {
      {"db1", "db1"},
      {" db1.example.test ", "db1.example.test"},
      {"db1:1500", "db1:1500"},
      {"db1,1500", "db1:1500"},
      {"db1, 1500", "db1:1500"},
      {"db1\\SALES", "db1\\SALES"},
      {"db1\\SALES,1500", "db1:1500"},
      {"db1\\SALES:1500", "db1:1500"},
      {"(local)", "localhost"},
      {"(LOCAL)\\SALES", "localhost\\SALES"},
      {"(local),1500", "localhost:1500"},
      {".", "localhost"},
      {".\\SALES", "localhost\\SALES"},
      {"", "localhost"},
      {"127.0.0.1", "127.0.0.1"},
      {"[::1]", "[::1]:1433"},
      {"[::1]:1500", "[::1]:1500"},
      {"[2001:db8::1],1500", "[2001:db8::1]:1500"},
  };
  for (const Case& c : kCases) {
    std::string name;
    EXPECT_EQ(ReadSqlServerName(c.text, name).text, "") << c.text;
    EXPECT_EQ(name, c.name) << c.text;
  }
}

TEST(SqlServerName, IsRefusedWithAText) {
  constexpr Case kCases[] = {
      {"db1:", "'db1:': a port is a number from 1 to 65535"},
      {"db1:0", "'db1:0': a port is a number from 1 to 65535"},
      {"db1,65536", "'db1,65536': a port is a number from 1 to 65535"},
      {"db1:port", "'db1:port': a port is a number from 1 to 65535"},
      {"::1", "'::1': an IPv6 address needs brackets: [::1]:1433"},
      {"[::1", "'[::1': that is not an IPv6 address in brackets"},
      {"[db1]", "'[db1]': that is not an IPv6 address in brackets"},
      {"[::1]\\SALES", "'[::1]\\SALES': with an IPv6 address an instance is named by its port: [::1]:1433"},
      {"my db", "'my db': that is not the name of a server"},
      {"db1\\", "'db1\\': that is not the name of an instance"},
      {"db1\\my sales", "'db1\\my sales': that is not the name of an instance"},
      {"db1\r\nx", "'db1  x': that is not the name of a server"},
      {"(localdb)", "'(localdb)': that is not the name of a server"},
  };
  for (const Case& c : kCases) {
    std::string name;
    const Status status = ReadSqlServerName(c.text, name);
    EXPECT_EQ(status.fail, Fail::kBadData) << c.text;
    EXPECT_EQ(status.text, c.name) << c.text;
  }
}

}  // namespace
}  // namespace vantry
