#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/status.h"

namespace vantry {

// What became of a request. Ok when the server has answered, whatever it said. Otherwise kBadData when the text is not
// an address that can be asked, or kIo; the text names the server and says what is wrong.
using HttpDone = std::function<void(const Status& status)>;

// Asks web servers for pages.
class Http {
 public:
  virtual ~Http() = default;
  // Asks for one page and returns the request's number, which is above 0. `done` is called once, from the loop and
  // never from inside a call of this class. Any number may be asked for; some are under way at once, the rest waits in
  // order.
  virtual int64_t Get(const std::string& url, HttpDone done) = 0;
  // Drops a request: it is ended, or never begun, and its `done` is not called. One that has ended already may still be
  // told of.
  virtual void Reset(int64_t request) = 0;
};

}  // namespace vantry
