#include "platform/host_lookup.h"

#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>

#include <netdb.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include "platform/posix_support.h"

namespace vantry {

HostAddresses LookUpHost(const std::string& host) {
  HostAddresses found;
  addrinfo hints{}, *list = nullptr;
  hints.ai_socktype = SOCK_STREAM;
  const int result = ::getaddrinfo(host.c_str(), nullptr, &hints, &list);
  if (result != 0) {
    found.problem = result == EAI_SYSTEM ? std::strerror(errno) : ::gai_strerror(result);
    return found;
  }
  for (const addrinfo* entry = list; entry; entry = entry->ai_next) {
    char text[NI_MAXHOST];
    if (::getnameinfo(entry->ai_addr, entry->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST) == 0) {
      found.addresses.emplace_back(text);
    }
  }
  ::freeaddrinfo(list);
  if (found.addresses.empty()) found.problem = "the name has no address";
  return found;
}

struct PendingLookUp::Shared {
  // Makes the notifier of the loop speak.
  void Tell(HostAddresses result) {
    const std::lock_guard lock(mutex);
    found = std::move(result);
    (void)::eventfd_write(event.get(), 1);
  }
  const Descriptor event{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
  std::mutex mutex;
  HostAddresses found;
};

PendingLookUp::PendingLookUp(const std::string& host, HostLookUp look_up, std::function<void(HostAddresses found)> done)
    : shared_(std::make_shared<Shared>()), answered_(new QSocketNotifier(shared_->event.get(), QSocketNotifier::Read)) {
  QObject::connect(answered_.get(), &QSocketNotifier::activated, answered_.get(),
                   [shared = shared_, notifier = answered_.get(), done = std::move(done)] {
                     notifier->setEnabled(false);
                     HostAddresses found;
                     {
                       const std::lock_guard lock(shared->mutex);
                       found = std::move(shared->found);
                     }
                     done(std::move(found));
                   });
  try {
    std::thread([shared = shared_, look_up = std::move(look_up), host] {
      try {
        shared->Tell(look_up(host));
      } catch (const std::exception& e) {
        shared->Tell({{}, e.what()});
      }
    }).detach();
  } catch (const std::system_error& e) {
    shared_->Tell({{}, e.what()});
  }
}

}  // namespace vantry
