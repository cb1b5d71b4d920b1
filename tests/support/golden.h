// Files under tests/data that an output must equal byte for byte.
#pragma once

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

namespace vantry {

inline std::string ReadGoldenFile(const std::string& name) {
  std::ifstream in(std::string(VANTRY_TEST_DATA) + "/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The first line in which two texts differ, for a failure that can be read; empty if they are the same.
inline std::string FirstDifference(const std::string& got, const std::string& want) {
  size_t at = 0;
  while (at < got.size() && at < want.size() && got[at] == want[at]) ++at;
  if (at == got.size() && at == want.size()) return "";
  const auto line = [at](const std::string& text) {
    const size_t begin = at == 0 ? 0 : text.rfind('\n', at - 1) + 1;
    return begin > text.size() ? std::string("<end>") : text.substr(begin, text.find('\n', begin) - begin);
  };
  return "got '" + line(got) + "', want '" + line(want) + "' at byte " + std::to_string(at);
}

// Checks a text against its file. VANTRY_RENEW=1 rewrites the file instead; look at what changed before keeping it.
inline void CheckGoldenFile(const std::string& name, const std::string& got) {
  if (std::getenv("VANTRY_RENEW")) {
    std::ofstream(std::string(VANTRY_TEST_DATA) + "/" + name, std::ios::binary) << got;
    return;
  }
  EXPECT_EQ(FirstDifference(got, ReadGoldenFile(name)), "") << name;
}

}  // namespace vantry
