// A folder of its own on the real disk for one test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace vantry {

struct TempFolder {
  std::string path;  // "/" at its end.
  TempFolder() {
    char name[] = "/tmp/vantry-test-XXXXXX";
    path = std::string(::mkdtemp(name)) + "/";
  }
  ~TempFolder() { std::filesystem::remove_all(path); }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
};

}  // namespace vantry
