// An operation of the message bus with arguments of any kind: the first byte chooses it, four more are its numbers, the
// rest is its text. An answer has the form that was announced, and its page holds no script.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/text.h"
#include "support/fake_bus.h"
#include "support/html_shape.h"
#include "support/page_rig.h"
#include "web/automation.h"

namespace vantry {
namespace {

struct Calls {
  PageRig pages;
  RecordingBus bus;
  Automation automation{{pages.rig.t, pages.settings, pages.rig.log, pages.rig.clock, bus,
                         [this]() -> const PageContext& { return pages.context; }}};
  Calls() {
    pages.context.escape = true;
    pages.Fill({"10.0.0.1", "<script>", "http://from.example/\"'"});
  }
};

bool HasForm(const BusValues& values, const std::vector<BusArgument>& form) {
  if (values.size() != form.size()) return false;
  for (size_t i = 0; i < form.size(); ++i) {
    if (std::holds_alternative<std::string>(values[i]) != (form[i].type == 's')) return false;
  }
  return true;
}

}  // namespace
}  // namespace vantry

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  static Calls& calls = *new Calls;
  if (size < 5) return 0;
  const size_t place = data[0] % calls.automation.Operations().size();
  const BusOperation& operation = calls.automation.Operations()[place];
  const auto small = static_cast<int16_t>(data[1] | data[2] << 8);
  const int32_t number = (data[3] | data[4] << 8) * (small | 1);
  const std::string text(reinterpret_cast<const char*>(data) + 5, size - 5);
  BusValues in, out;
  for (const BusArgument& argument : operation.takes) {
    if (argument.type == 's') {
      in.emplace_back(text);
    } else {
      in.emplace_back(argument.type == 'n' ? small : argument.type == 'b' ? number & 1 : number);
    }
  }
  const Status status = calls.automation.Call(place, in, out);
  if (!status.ok() && status.fail != Fail::kBadData) std::abort();
  if (status.ok() && !HasForm(out, operation.gives)) std::abort();
  // The head of a page is made of what the caller gives; all others show it as text.
  const bool own = std::string_view(operation.name) == "HTMLHeader";
  if (status.ok() && !own && !out.empty() && std::holds_alternative<std::string>(out[0])) {
    if (!FindScript(std::get<std::string>(out[0])).empty()) std::abort();
  }
  calls.pages.rig.program_log.clear();
  return 0;
}
