// Readers of events beside a scan, long lists, and the numbers of many sites, over loopback and without a login:
//   live_streams [STREAMS] [LINES_A_SECOND] [VIEWS_IN_A_THOUSAND_LINES] [SITES] [SECONDS] [history]
// Each stream reads the events of one site; with one site that is all of them. The log is scanned in batches of 20 ms,
// in turns for a second without events, which is what the scan's time is compared with, and for a second with them;
// with the history on when that is asked for.
// Each visitor views one page a second at most, so that no two views are one event.
#include <QCoreApplication>
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/null_parts.h"
#include "config/registry_store.h"
#include "database/visit_database.h"
#include "live/event_log.h"
#include "live/route.h"
#include "platform/lmdb_index.h"
#include "platform/mhd_server.h"
#include "platform/posix_data_files.h"
#include "platform/qt_loop.h"
#include "views/program_tables.h"

namespace {

using Steady = std::chrono::steady_clock;

constexpr int kMostSites = 1'000;
constexpr int kVisitors = 100'000;
constexpr int64_t kBatchNs = 20'000'000;
constexpr int kMostMs = 10'000;

int64_t NowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(Steady::now().time_since_epoch()).count();
}

// What both processes see.
enum Phase { kConnecting, kStreaming, kVisitorsList, kPagesList, kMetrics, kDone };
struct Shared {
  std::atomic<int> phase, connected;
  std::array<std::atomic<uint64_t>, kMostSites + 1> views;  // Of each site, with events on.
};

struct Wanted {
  int streams = 1'000, lines = 50'000, views = 100, sites = 100, seconds = 10;
  bool history = false;
};

int Connect(uint16_t port) {
  const int s = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(port);
  to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (s < 0 || ::connect(s, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) ::_exit(3);
  return s;
}

void Ask(int s, const std::string& path) {
  const std::string text = "GET " + path + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";
  if (::write(s, text.data(), text.size()) != static_cast<ssize_t>(text.size())) ::_exit(4);
}

// Counts the events of a stream and how late each is: the page's name says when its line was written.
class StreamReader {
 public:
  StreamReader(uint16_t port, int site) : site_(site), socket_(Connect(port)) {
    Ask(socket_, "/api/v1/events?site=" + std::to_string(site));
  }
  int Socket() const { return socket_; }
  int Site() const { return site_; }
  uint64_t Views() const { return views_; }
  bool Slow() const { return slow_; }

  // Returns whether the stream goes on.
  bool Read(std::vector<uint64_t>& late, uint64_t& bytes) {
    static char room[1 << 18];
    const ssize_t got = ::recv(socket_, room, sizeof room, MSG_DONTWAIT);
    if (got <= 0) return got < 0 && (errno == EAGAIN || errno == EINTR);
    bytes += static_cast<uint64_t>(got);
    tail_.append(room, static_cast<size_t>(got));
    const int64_t now = NowNs();
    constexpr std::string_view kMark = "\"page\":\"t";
    size_t done = 0;
    for (size_t at = tail_.find(kMark); at != std::string::npos; at = tail_.find(kMark, at + 1)) {
      if (tail_.size() - at < 40) break;
      const int64_t written = std::strtoll(tail_.c_str() + at + kMark.size(), nullptr, 10);
      ++views_;
      ++late[static_cast<size_t>(std::clamp<int64_t>((now - written) / 1'000'000, 0, kMostMs - 1))];
      done = at + kMark.size();
    }
    if (tail_.find("event: slow") != std::string::npos) slow_ = true;
    tail_.erase(0, std::max(done, tail_.size() - std::min<size_t>(tail_.size(), 64)));
    return true;
  }

 private:
  int site_;
  int socket_;
  uint64_t views_ = 0;
  bool slow_ = false;
  std::string tail_;
};

uint64_t Percentile(const std::vector<uint64_t>& counts, double part) {
  uint64_t all = 0, so_far = 0;
  for (const uint64_t count : counts) all += count;
  for (size_t ms = 0; ms < counts.size(); ++ms) {
    so_far += counts[ms];
    if (so_far >= static_cast<uint64_t>(part * static_cast<double>(all))) return ms;
  }
  return 0;
}

void ReadStreams(Shared& shared, const Wanted& wanted, uint16_t port) {
  std::vector<std::unique_ptr<StreamReader>> readers;
  const int epoll = ::epoll_create1(0);
  for (int i = 0; i < wanted.streams; ++i) {
    readers.push_back(std::make_unique<StreamReader>(port, i % wanted.sites + 1));
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u32 = static_cast<uint32_t>(i);
    ::epoll_ctl(epoll, EPOLL_CTL_ADD, readers.back()->Socket(), &event);
    ++shared.connected;
  }
  std::vector<uint64_t> late(kMostMs);
  uint64_t bytes = 0, ended = 0;
  std::array<epoll_event, 256> events;
  while (shared.phase < kVisitorsList) {
    const int count = ::epoll_wait(epoll, events.data(), static_cast<int>(events.size()), 100);
    for (int i = 0; i < count; ++i) {
      StreamReader& reader = *readers[events[static_cast<size_t>(i)].data.u32];
      if (reader.Read(late, bytes)) continue;
      ::epoll_ctl(epoll, EPOLL_CTL_DEL, reader.Socket(), nullptr);
      ++ended;
    }
  }
  uint64_t lost = 0, slow = 0, got = 0;
  for (const auto& reader : readers) {
    const uint64_t expected = shared.views[static_cast<size_t>(reader->Site())];
    got += reader->Views();
    lost += expected > reader->Views() ? expected - reader->Views() : 0;
    slow += reader->Slow() ? 1 : 0;
    ::close(reader->Socket());
  }
  std::printf(
      "streams=%d events_read=%llu MB=%.1f lost=%llu slow=%llu ended=%llu late_ms p50=%llu p99=%llu p100=%llu\n",
      wanted.streams, static_cast<unsigned long long>(got), static_cast<double>(bytes) / 1e6,
      static_cast<unsigned long long>(lost), static_cast<unsigned long long>(slow),
      static_cast<unsigned long long>(ended), static_cast<unsigned long long>(Percentile(late, 0.5)),
      static_cast<unsigned long long>(Percentile(late, 0.99)), static_cast<unsigned long long>(Percentile(late, 1)));
  std::fflush(stdout);
}

void Fetch(uint16_t port, const std::string& path, int times) {
  static char room[1 << 18];
  double best = 1e9;
  uint64_t bytes = 0;
  for (int i = 0; i < times; ++i) {
    const auto begin = Steady::now();
    const int s = Connect(port);
    Ask(s, path);
    bytes = 0;
    for (ssize_t got; (got = ::read(s, room, sizeof room)) > 0;) bytes += static_cast<uint64_t>(got);
    ::close(s);
    best = std::min(best, std::chrono::duration<double>(Steady::now() - begin).count());
  }
  std::printf("%s: MB=%.2f best_ms=%.1f MB_per_s=%.0f\n", path.c_str(), static_cast<double>(bytes) / 1e6, best * 1e3,
              static_cast<double>(bytes) / 1e6 / best);
  std::fflush(stdout);
}

[[noreturn]] void BeClient(Shared& shared, const Wanted& wanted, int port_pipe) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  uint16_t port = 0;
  if (::read(port_pipe, &port, sizeof port) != sizeof port) ::_exit(1);
  ReadStreams(shared, wanted, port);
  const auto ask = [&](int phase, const char* path, int times) {
    while (shared.phase != phase) ::usleep(1'000);
    Fetch(port, path, times);
    ++shared.phase;
  };
  ask(kVisitorsList, "/api/v1/visitors?limit=1000000", 3);
  ask(kPagesList, "/api/v1/pages", 3);
  ask(kMetrics, "/metrics", 20);
  ::_exit(0);
}

long ResidentKb() {
  long size = 0, resident = 0;
  if (std::FILE* file = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(file, "%ld %ld", &size, &resident) != 2) resident = 0;
    std::fclose(file);
  }
  return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

// The program's side: the scan, its logs, and the listener in the same loop.
class Server {
 public:
  Server(Shared& shared, const Wanted& wanted, std::string folder)
      : shared_(shared), wanted_(wanted), folder_(std::move(folder)) {
    for (int i = 0; i < wanted_.sites; ++i) AddSite(folder_ + "/" + std::to_string(i) + ".log");
    rig_.t.Today = vantry::DayOf(rig_.clock.Now());
    rig_.t.Started = rig_.clock.Now();
    logs_.resize(static_cast<size_t>(wanted_.sites));
    Write(NowNs(), wanted_.sites, 1'000);
    context_.events = &events_;
    if (!wanted_.history) return;
    rig_.Connect(database_, rig_.exceptions);
    if (!database_.DatabaseReady()) std::fprintf(stderr, "There is no history.\n");
  }

  uint16_t Start() {
    const vantry::Status status = http_.Start(
        {"127.0.0.1", 0, "", ""}, {.callers = 5'000},
        [this](const vantry::HttpRequest& request, const vantry::HttpAnswer& answer) { Answer(request, answer); });
    if (!status.ok()) std::fprintf(stderr, "%s\n", status.text.c_str());
    return http_.Port();
  }

  void Turn() {
    const int64_t begin = NowNs();
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    stall_ns_ = std::max(stall_ns_, NowNs() - begin);
  }
  void TurnUntil(const std::function<bool()>& done) {
    while (!done()) Turn();
  }
  int64_t TakeStallNs() { return std::exchange(stall_ns_, 0); }

  // Scans for a second, and adds what each batch took to `ns_a_line`.
  void ScanForASecond(bool with_events, std::vector<double>& ns_a_line) {
    rig_.t.Live = with_events ? &events_ : nullptr;
    const int64_t begin = NowNs(), end = begin + 1'000'000'000;
    int64_t next = begin;
    while (next < end) {
      while (NowNs() < next) {
        Turn();
        std::this_thread::sleep_for(std::chrono::microseconds(200));
      }
      behind_ns_ = std::max(behind_ns_, NowNs() - next);
      const int count = static_cast<int>(wanted_.lines * kBatchNs / 1'000'000'000);
      Write(NowNs(), count, wanted_.views, with_events);
      const int64_t scan = NowNs();
      for (int16_t n = 1; n <= wanted_.sites; ++n) rig_.scan->ReadNow(n);
      ns_a_line.push_back(static_cast<double>(NowNs() - scan) / count);
      next += kBatchNs;
    }
  }
  // The most that a batch began after its time.
  int64_t BehindNs() const { return behind_ns_; }

  void AddVisitorsAndSites() {
    const int32_t there = rig_.t.Visitors.Count();
    for (int i = there; i < kVisitors; ++i) {
      vantry::VisitorRec& v = *rig_.t.Visitors.At(rig_.t.Visitors.Add(1, Address(1'000'000 + i)));
      v.LastPageTime = v.StartTime = v.LastHitTime = {rig_.clock.Now().s};
      v.UserAgent = rig_.t.Visitors.Shared("Mozilla/5.0 (X11; Linux x86_64; rv:140.0) Gecko/20100101 Firefox/140.0");
    }
    int number = 0;
    rig_.t.Visitors.ForEach([&](int32_t, vantry::VisitorRec& v) {
      v.Page = "products/catalogue/page" + std::to_string(++number) + ".html";
    });
    while (rig_.t.Sites.size() < kMostSites) AddSite("");
  }
  int32_t Visitors() const { return rig_.t.Visitors.Count(); }

 private:
  void AddSite(const std::string& file) {
    vantry::SiteRec& site = rig_.t.Sites.emplace_back();
    site.Name = "Bench " + std::to_string(rig_.t.Sites.size());
    site.Domain = "www.bench.example";
    site.Type = vantry::LogType::kNCSA;
    site.Unix = site.FieldsKnown = site.CaughtUp = site.ReadOnce = true;
    site.LastLogFile = file;
    site.LastReadDateTime = {rig_.clock.Now().s};
    site.ExValue130 = site.ExValue161 = site.ExValue131 = site.ExValue133 = site.ExValue134 = 30'000;
    site.ScanCount = 2;
  }
  static std::string Address(int number) {
    return "10." + std::to_string(number >> 16) + "." + std::to_string(number >> 8 & 255) + "." +
           std::to_string(number & 255);
  }

  // Lines that are due, site by site in turn.
  void Write(int64_t now, int count, int views, bool counted = false) {
    const std::time_t utc = std::time(nullptr);
    std::array<char, 40> stamp;
    std::strftime(stamp.data(), stamp.size(), "%d/%b/%Y:%H:%M:%S +0000", std::gmtime(&utc));
    std::vector<std::string> texts(static_cast<size_t>(wanted_.sites));
    for (int i = 0; i < count; ++i) {
      const size_t site = static_cast<size_t>(line_++ % wanted_.sites);
      view_share_ += views;
      const bool view = view_share_ >= 1'000;
      if (view) view_share_ -= 1'000;
      std::string page = "/images/logo.gif";
      if (view) {
        page = "/t" + std::to_string(now) + "x" + std::to_string(++view_) + ".html";
        if (counted) ++shared_.views[site + 1];
      }
      // Half of the visitors that the table may hold are kept busy: each views a page every few seconds.
      texts[site] += Address(static_cast<int>(view_ % (kVisitors / 2))) + " - - [" + stamp.data() + "] \"GET " + page +
                     " HTTP/1.1\" 200 5120 \"-\" \"Mozilla/5.0 (X11; Linux x86_64) Firefox/140.0\"\n";
    }
    for (size_t site = 0; site < texts.size(); ++site) {
      if (!logs_[site].is_open()) {
        logs_[site].open(rig_.t.Sites[site].LastLogFile, std::ios::binary | std::ios::app);
      }
      logs_[site] << texts[site] << std::flush;
    }
  }

  void Answer(const vantry::HttpRequest& request, const vantry::HttpAnswer& answer) {
    vantry::LiveRequest live;
    live.path = request.path;
    live.query = vantry::ParseQuery(request.query).value_or(vantry::LiveQuery());
    const vantry::Route* route = vantry::FindRoute(live.path, live.rest);
    answer(route ? route->resource(context_, live) : vantry::ErrorReply(404, "no such address"));
  }

  Shared& shared_;
  const Wanted& wanted_;
  std::string folder_, tables_ = folder_ + "/";
  vantry::bench::Rig rig_;
  vantry::QtLoop loop_;
  vantry::RegistryFile registry_{rig_.files, folder_ + "/registry.ini"};
  vantry::PosixDataFiles data_files_;
  vantry::LmdbIndex index_;
  vantry::VisitDatabase database_{
      {rig_.t, tables_, rig_.log, rig_.clock, registry_, rig_.exceptions, data_files_, index_}};
  vantry::ProgramTables history_{database_};
  vantry::EventLog events_{rig_.t, rig_.settings, rig_.clock, loop_};
  vantry::LiveContext context_{.t = rig_.t,
                               .settings = rig_.settings,
                               .regional = rig_.regional,
                               .clock = rig_.clock,
                               .history = history_,
                               .version = "bench",
                               .monitoring = [] { return true; },
                               .queues = [] { return vantry::LiveQueues(); }};
  vantry::MhdServer http_;
  std::vector<std::ofstream> logs_;
  int64_t stall_ns_ = 0, behind_ns_ = 0, line_ = 0, view_ = 0;
  int view_share_ = 0;
};

void RaiseFileLimit() {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

double Median(std::vector<double> numbers) {
  std::nth_element(numbers.begin(), numbers.begin() + static_cast<ptrdiff_t>(numbers.size() / 2), numbers.end());
  return numbers[numbers.size() / 2];
}

void RunServer(Shared& shared, const Wanted& wanted, const std::string& folder, int port_pipe) {
  Server server(shared, wanted, folder);
  const uint16_t port = server.Start();
  const long before = ResidentKb();
  if (::write(port_pipe, &port, sizeof port) != sizeof port) return;
  server.TurnUntil([&] { return shared.connected >= wanted.streams; });
  for (int i = 0; i < 2'000; ++i) server.Turn();
  std::printf("kB a stream: %.1f\n", static_cast<double>(ResidentKb() - before) / wanted.streams);
  shared.phase = kStreaming;
  std::vector<double> with, without;
  for (int i = 0; i < 2; ++i) server.ScanForASecond(false, without);  // Brings the first visitors.
  without.clear();
  for (int i = 0; i < wanted.seconds; ++i) {
    server.ScanForASecond(false, without);
    server.ScanForASecond(true, with);
  }
  const int64_t drain = NowNs() + 1'000'000'000;
  server.TurnUntil([&] { return NowNs() > drain; });
  std::printf("scan, median ns a line: %.0f without events, %.0f with, ratio %.3f; batches at most %.1f ms late\n",
              Median(without), Median(with), Median(with) / Median(without),
              static_cast<double>(server.BehindNs()) / 1e6);
  std::printf("longest turn of the loop: %.1f ms\n", static_cast<double>(server.TakeStallNs()) / 1e6);
  std::printf("kB a stream in use: %.1f; visitors=%d\n", static_cast<double>(ResidentKb() - before) / wanted.streams,
              server.Visitors());
  server.AddVisitorsAndSites();
  std::fflush(stdout);
  shared.phase = kVisitorsList;
  for (const int phase : {kVisitorsList, kPagesList, kMetrics}) {
    (void)server.TakeStallNs();
    server.TurnUntil([&] { return shared.phase > phase; });
    std::printf("  longest turn of the loop meanwhile: %.1f ms\n", static_cast<double>(server.TakeStallNs()) / 1e6);
    std::fflush(stdout);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Wanted wanted;
  int* const fields[] = {&wanted.streams, &wanted.lines, &wanted.views, &wanted.sites, &wanted.seconds};
  for (int i = 1; i < argc && i <= 5; ++i) *fields[i - 1] = std::atoi(argv[i]);
  wanted.history = argc == 7 && std::string_view(argv[6]) == "history";
  if (argc > 7 || (argc == 7 && !wanted.history) || wanted.streams < 1 || wanted.sites < 1 ||
      wanted.sites > kMostSites) {
    std::fprintf(stderr,
                 "usage: live_streams [STREAMS] [LINES_A_SECOND] [VIEWS_IN_A_THOUSAND] [SITES] [SECONDS] [history]\n");
    return 2;
  }
  ::setenv("TZ", "UTC", 1);
  RaiseFileLimit();
  void* const memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  int port_pipe[2];
  if (memory == MAP_FAILED || ::pipe(port_pipe) != 0) return 1;
  auto& shared = *new (memory) Shared();
  const pid_t child = ::fork();
  if (child == 0) BeClient(shared, wanted, port_pipe[0]);
  QCoreApplication application(argc, argv);
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("live_streams." + std::to_string(::getpid()));
  std::filesystem::create_directories(folder);
  RunServer(shared, wanted, folder.string(), port_pipe[1]);
  ::waitpid(child, nullptr, 0);
  std::filesystem::remove_all(folder);
  return 0;
}
