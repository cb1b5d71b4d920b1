#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/status.h"

namespace vantry {

struct WhoIsQuestion {
  std::string server;  // A name or an address, with ":" and a port or without, which is 43.
  std::string text;    // Printable ASCII, sent as one line.
  // The server was named by another one: it must not be a machine of this network.
  bool is_referral = false;
};

struct WhoIsAnswer {
  // kBadData when the question can't be sent, kRefused when the server is one that must not be asked, kNotFound when
  // the registry says that it knows nothing, kIo when the server could not be reached or talked to.
  Status status;
  std::string text;     // Bytes as they came, also those before a failure.
  bool is_cut = false;  // There was more than is kept.
};
using WhoIsDone = std::function<void(const WhoIsAnswer& answer)>;

// Asks registries whose an address or a name is.
class WhoIs {
 public:
  virtual ~WhoIs() = default;
  // Asks a who-is server and returns the request's number, which is above 0. `done` is called once, from the loop and
  // never from inside a call of this class.
  virtual int64_t Ask(const WhoIsQuestion& question, WhoIsDone done) = 0;
  // The same by RDAP: `url` is the page with the answer, which may be elsewhere by now. The text is lines of "key:
  // value".
  virtual int64_t AskRdap(const std::string& url, WhoIsDone done) = 0;
  // Ends a request; its `done` is not called. One that has ended already may still be told of.
  virtual void Stop(int64_t request) = 0;
};

}  // namespace vantry
