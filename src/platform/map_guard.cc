#include "platform/map_guard.h"

#include <setjmp.h>
#include <signal.h>

namespace vantry {
namespace {

thread_local sigjmp_buf* way_out = nullptr;

struct sigaction before_bus {
}, before_segv{};

void TakeSignal(int number, siginfo_t*, void*) {
  BreakOffGuarded();
  // Not from a guarded body: the same fault comes again, to whoever took it before.
  ::sigaction(number, number == SIGBUS ? &before_bus : &before_segv, nullptr);
}

bool TakeSignals() {
  struct sigaction action {};
  action.sa_sigaction = TakeSignal;
  // Not held back while it is handled, as the handler is left by a jump.
  action.sa_flags = SA_SIGINFO | SA_NODEFER;
  ::sigemptyset(&action.sa_mask);
  return ::sigaction(SIGBUS, &action, &before_bus) == 0 && ::sigaction(SIGSEGV, &action, &before_segv) == 0;
}

}  // namespace

bool RunGuarded(void (*body)(void*), void* with) {
  static const bool taken = TakeSignals();
  (void)taken;
  sigjmp_buf here;
  sigjmp_buf* const outer = way_out;
  if (sigsetjmp(here, 0) != 0) {
    way_out = outer;
    return false;
  }
  way_out = &here;
  body(with);
  way_out = outer;
  return true;
}

void BreakOffGuarded() {
  if (way_out) siglongjmp(*way_out, 1);
}

}  // namespace vantry
