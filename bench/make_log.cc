// Writes a log for whole-run benchmarks:
//   make_log ncsa|w3c BYTES ADDRESSES YYYYMMDD ASSET_PERCENT [STATUS [LINES]] > FILE
// Lines are about 200 bytes, spread evenly over the day; addresses and pages come from a fixed random sequence. STATUS
// is that of every line, 200 unless told. LINES is how many lines an address writes before others come in its place; 1
// unless told, which makes almost every page a visit of its own.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

struct Look {
  bool ncsa;
  int status, year, month, day;
};

void Clock(char* out, size_t size, int64_t s) {
  std::snprintf(out, size, "%02d:%02d:%02d", static_cast<int>(s / 3600), static_cast<int>(s / 60 % 60),
                static_cast<int>(s % 60));
}

std::string Line(const Look& look, int64_t second, unsigned address, unsigned page, bool asset) {
  char clock[16], ip[20], path[80], line[512];
  Clock(clock, sizeof clock, second);
  std::snprintf(ip, sizeof ip, "10.%u.%u.%u", address / 65025 % 255, address / 255 % 255, 1 + address % 255);
  std::snprintf(path, sizeof path, asset ? "/images/section%u/picture-%u.gif" : "/articles/section%u/page-%u.html",
                page % 40, page);
  if (look.ncsa) {
    std::snprintf(line, sizeof line,
                  "%s - - [%02d/%s/%04d:%s +0000] \"GET %s HTTP/1.1\" %d %u \"http://search.example/find?q=words\" "
                  "\"Mozilla/5.0 (X11; Linux x86_64; rv:102.0) Gecko/20100101 Firefox/102.0\"\n",
                  ip, look.day, kMonths[look.month - 1], look.year, clock, path, look.status, 1000 + page);
  } else {
    std::snprintf(line, sizeof line,
                  "%04d-%02d-%02d %s %s - GET %s - %d 0 %u 412 15 80 "
                  "Mozilla/5.0+(X11;+Linux+x86_64;+rv:102.0)+Gecko/20100101+Firefox/102.0 "
                  "http://search.example/find?q=words\r\n",
                  look.year, look.month, look.day, clock, ip, path, look.status, 1000 + page);
  }
  return line;
}

// Whose line comes next. A few addresses are on the site at a time, each for a number of lines.
class Callers {
 public:
  Callers(unsigned addresses, unsigned lines) : addresses_(addresses), lines_(lines), here_(lines > 1 ? kAtATime : 0) {}

  unsigned Next(std::mt19937& random) {
    if (here_.empty()) return random() % addresses_;
    Caller& caller = here_[random() % kAtATime];
    if (caller.lines == 0) caller = {static_cast<unsigned>(random() % addresses_), lines_};
    --caller.lines;
    return caller.address;
  }

 private:
  static constexpr size_t kAtATime = 8;
  struct Caller {
    unsigned address = 0, lines = 0;
  };
  unsigned addresses_, lines_;
  std::vector<Caller> here_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 6 || argc > 8) {
    std::fprintf(stderr, "usage: make_log ncsa|w3c BYTES ADDRESSES YYYYMMDD ASSET_PERCENT [STATUS [LINES]]\n");
    return 2;
  }
  const bool ncsa = std::string(argv[1]) == "ncsa";
  const int64_t bytes = std::atoll(argv[2]);
  const auto addresses = static_cast<unsigned>(std::max(1, std::atoi(argv[3])));
  const int date = std::atoi(argv[4]);
  const auto assets = static_cast<unsigned>(std::atoi(argv[5]));
  const Look look{ncsa, argc > 6 ? std::atoi(argv[6]) : 200, date / 10000, date / 100 % 100, date % 100};
  Callers callers(addresses, argc > 7 ? static_cast<unsigned>(std::max(1, std::atoi(argv[7]))) : 1);
  std::mt19937 random(7);
  if (!ncsa) {
    std::fputs(
        "#Software: Bench\r\n#Fields: date time c-ip cs-username cs-method cs-uri-stem cs-uri-query sc-status "
        "sc-win32-status sc-bytes cs-bytes time-taken s-port cs(User-Agent) cs(Referer)\r\n",
        stdout);
  }
  for (int64_t written = 0; written < bytes;) {
    // From 00:10 on, so that the time of day never runs over midnight.
    const int64_t second =
        600 + static_cast<int64_t>(85000.0 * static_cast<double>(written) / static_cast<double>(bytes));
    const bool asset = random() % 100 < assets;
    const unsigned page = random() % 2000;
    const std::string line = Line(look, second, callers.Next(random), page, asset);
    std::fwrite(line.data(), 1, line.size(), stdout);
    written += static_cast<int64_t>(line.size());
  }
  return 0;
}
