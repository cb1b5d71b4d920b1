#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "ipcc/builder.h"
#include "platform/posix_files.h"
#include "platform/system_clock.h"

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  vantry::PosixFiles files;
  return vantry::RunIpcc(files, vantry::DayOf(vantry::SystemClock().Now()), words, std::cout, std::cerr);
}
