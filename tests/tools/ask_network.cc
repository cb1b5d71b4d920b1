// Pings and looks for hops as the window does, one after the other, for tests in networks of their own:
//   ask_network ping TIMEOUT_MS BYTES COUNT PROGRAM HOST [no-raw]
//   ask_network hop TIMEOUT_MS HOP HOST
// A line for each answer, its parts separated by "|": what is wrong or "ok", and then of a ping the address, the way it
// was asked, bytes and TTL; of a hop the address asked for, whose answer came, "end" at the end of the way, and what
// that one says. With "no-raw" the process gives up its right to raw sockets first.
#include <QCoreApplication>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/icmp_ping.h"
#include "platform/udp_trace.h"

namespace {

void GiveUpRaw() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct rights[2]{};
  ::syscall(SYS_capget, &header, rights);
  rights[0].effective &= ~(1u << CAP_NET_RAW);
  rights[0].permitted &= ~(1u << CAP_NET_RAW);
  rights[0].inheritable &= ~(1u << CAP_NET_RAW);
  ::syscall(SYS_capset, &header, rights);
}

std::string Problem(const vantry::Status& status) {
  return status.ok() ? "ok" : status.text;
}

void PingOn(vantry::Ping& ping, const vantry::PingRequest& request, int left) {
  ping.Send(request, [&ping, request, left](const vantry::PingAnswer& answer) {
    std::printf("%s|%s|%s|%d|%d\n", Problem(answer.status).c_str(), answer.address.c_str(), answer.road.c_str(),
                answer.bytes, answer.ttl);
    std::fflush(stdout);
    vantry::PingRequest next = request;
    ++next.sequence;
    left > 1 ? PingOn(ping, next, left - 1) : QCoreApplication::quit();
  });
}

void TellHop(const vantry::HopAnswer& answer) {
  std::printf("%s|%s|%s|%s|%s\n", Problem(answer.status).c_str(), answer.target.c_str(), answer.address.c_str(),
              answer.is_end ? "end" : "", answer.note.c_str());
  QCoreApplication::quit();
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc > 1 ? argv[1] : "";
  const bool pings = what == "ping" && argc >= 7, hops = what == "hop" && argc == 5;
  if (!pings && !hops) {
    std::fprintf(stderr,
                 "usage: ask_network ping TIMEOUT_MS BYTES COUNT PROGRAM HOST [no-raw] | hop TIMEOUT_MS HOP HOST\n");
    return 2;
  }
  if (pings && argc > 7) GiveUpRaw();
  QCoreApplication application(argc, argv);
  vantry::IcmpPing ping(pings ? argv[5] : "ping");
  vantry::UdpTrace route;
  if (pings) PingOn(ping, {argv[6], std::atoi(argv[3]), std::atoi(argv[2]), 1}, std::atoi(argv[4]));
  if (hops) route.Probe({argv[4], std::atoi(argv[3]), std::atoi(argv[2])}, TellHop);
  QCoreApplication::exec();
  return 0;
}
