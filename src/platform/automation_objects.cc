#include "platform/automation_objects.h"

#include <algorithm>
#include <cerrno>

#include "core/text_encoding.h"

namespace vantry {
namespace {

int Method(sd_bus_message* message, void* objects, sd_bus_error*) {
  return static_cast<AutomationObjects*>(objects)->Take(message);
}

int GetInterface(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*, sd_bus_error*) {
  return sd_bus_message_append_basic(reply, SD_BUS_TYPE_OBJECT_PATH, kInterfacePath);
}

int GetProperty(sd_bus*, const char*, const char*, const char* name, sd_bus_message* reply, void* objects,
                sd_bus_error*) {
  return static_cast<AutomationObjects*>(objects)->AppendProperty(name, reply);
}

// Who may call is the policy of the bus.
constexpr uint64_t kOpen = SD_BUS_VTABLE_UNPRIVILEGED;

const sd_bus_vtable kConnectorTable[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_PROPERTY("Interface", "o", GetInterface, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END};

const sd_bus_vtable kEvents[] = {
    SD_BUS_SIGNAL_WITH_ARGS("VisitorArrived",
                            SD_BUS_ARGS("s", Domain, "s", IPAddress, "s", StartTime, "s", StartPage, "s", Browser, "s",
                                        Spider, "s", Referrer, "b", Alert),
                            0),
    SD_BUS_SIGNAL_WITH_ARGS("DNSResolved", SD_BUS_ARGS("s", IPAddress, "s", DNS), 0),
    SD_BUS_SIGNAL_WITH_ARGS("VisitorPageMove", SD_BUS_ARGS("s", Domain, "s", IPAddress, "s", MoveTime, "s", NewPage),
                            0),
    SD_BUS_SIGNAL_WITH_ARGS("VisitorLeft", SD_BUS_ARGS("s", Domain, "s", IPAddress), 0), SD_BUS_VTABLE_END};

std::string Types(const std::vector<BusArgument>& arguments) {
  std::string types;
  for (const BusArgument& argument : arguments) types += argument.type;
  return types;
}

// One of a call's arguments; false for one that is not what it claims to be, such as a text that is not UTF-8.
bool ReadValue(sd_bus_message* message, char type, BusValues& values) {
  if (type == SD_BUS_TYPE_STRING) {
    const char* text = nullptr;
    if (sd_bus_message_read_basic(message, type, &text) <= 0) return false;
    values.emplace_back(std::string(text));
    return true;
  }
  int16_t small = 0;
  int32_t number = 0;
  const bool is_small = type == SD_BUS_TYPE_INT16;
  if (sd_bus_message_read_basic(message, type, is_small ? static_cast<void*>(&small) : &number) <= 0) return false;
  values.emplace_back(is_small ? int32_t{small} : number);
  return true;
}

int AppendNumber(sd_bus_message* message, char type, int32_t number) {
  const auto small = static_cast<int16_t>(number);
  return sd_bus_message_append_basic(message, type,
                                     type == SD_BUS_TYPE_INT16 ? static_cast<const void*>(&small) : &number);
}

size_t ReplyError(sd_bus_message* call, const char* name, const std::string& text) {
  const sd_bus_error error{name, text.c_str(), 0};
  sd_bus_reply_method_error(call, &error);
  return text.size();
}

}  // namespace

AutomationObjects::AutomationObjects(AutomationCalls& calls, size_t max_text, std::function<void()> call_waits)
    : calls_(calls), max_text_(max_text), call_waits_(std::move(call_waits)) {
  table_.push_back(SD_BUS_VTABLE_START(0));
  for (const BusOperation& operation : calls.Operations()) {
    const char* gives = texts_.emplace_back(Types(operation.gives)).c_str();
    if (operation.property) {
      table_.push_back(SD_BUS_PROPERTY(operation.name, gives, GetProperty, 0, 0));
      continue;
    }
    const char* takes = texts_.emplace_back(Types(operation.takes)).c_str();
    std::string& names = texts_.emplace_back();
    for (const auto* arguments : {&operation.takes, &operation.gives}) {
      for (const BusArgument& argument : *arguments) names.append(argument.name).append(1, '\0');
    }
    table_.push_back(SD_BUS_METHOD_WITH_NAMES(operation.name, takes, names.c_str(), gives, , Method, kOpen));
  }
  table_.insert(table_.end(), std::begin(kEvents), std::end(kEvents));
}

int AutomationObjects::AddTo(sd_bus* bus) {
  const int result = sd_bus_add_object_vtable(bus, nullptr, kConnectorPath, kConnectorInterface, kConnectorTable, this);
  return result < 0 ? result
                    : sd_bus_add_object_vtable(bus, nullptr, kInterfacePath, kInterfaceInterface, table_.data(), this);
}

size_t AutomationObjects::Place(std::string_view name) const {
  const std::vector<BusOperation>& all = calls_.Operations();
  return static_cast<size_t>(std::ranges::find(all, name, &BusOperation::name) - all.begin());
}

int AutomationObjects::AppendProperty(std::string_view name, sd_bus_message* reply) {
  const size_t place = Place(name);
  BusValues values;
  const Status status = Attempt([&] { return calls_.Call(place, {}, values); });
  if (!status.ok()) return -EIO;
  return AppendNumber(reply, calls_.Operations()[place].gives[0].type, std::get<int32_t>(values[0]));
}

int AutomationObjects::Take(sd_bus_message* message) {
  const Status taken = Attempt([&] {
    if (waiting_.size() >= kMaxWaiting) return Status::Error(Fail::kRefused, "Too many calls wait for their answers.");
    waiting_.emplace_back(sd_bus_message_ref(message));
    call_waits_();
    return Status::Ok();
  });
  if (!taken.ok()) ReplyError(message, SD_BUS_ERROR_LIMITS_EXCEEDED, taken.text);
  return 1;
}

size_t AutomationObjects::ServeOne() {
  const BusMessage call = std::move(waiting_.front());
  waiting_.pop_front();
  const size_t place = Place(sd_bus_message_get_member(call.get()));
  BusValues results;
  const Status status = Attempt([&] {
    BusValues values;
    for (const BusArgument& argument : calls_.Operations()[place].takes) {
      if (!ReadValue(call.get(), argument.type, values)) {
        return Status::Error(Fail::kBadData, "An argument can't be read.");
      }
    }
    return calls_.Call(place, values, results);
  });
  if (status.ok()) return Answer(call.get(), place, results);
  const bool bad = status.fail == Fail::kBadData;
  return ReplyError(call.get(), bad ? SD_BUS_ERROR_INVALID_ARGS : SD_BUS_ERROR_FAILED, RepairUtf8(status.text));
}

size_t AutomationObjects::Answer(sd_bus_message* call, size_t place, const BusValues& results) {
  if (sd_bus_message_get_expect_reply(call) <= 0) return 0;
  sd_bus_message* created = nullptr;
  int result = sd_bus_message_new_method_return(call, &created);
  const BusMessage reply(created);
  size_t size = 0;
  for (size_t i = 0; i < results.size() && result >= 0; ++i) {
    if (const auto* number = std::get_if<int32_t>(&results[i])) {
      result = AppendNumber(created, calls_.Operations()[place].gives[i].type, *number);
      continue;
    }
    const std::string text = RepairUtf8(std::get<std::string>(results[i]));
    size += text.size();
    // The bus disconnects a client that sends more than it carries.
    if (size > max_text_) {
      return ReplyError(call, SD_BUS_ERROR_LIMITS_EXCEEDED,
                        "The answer is longer than the " + std::to_string(max_text_) + " bytes that this bus carries.");
    }
    result = sd_bus_message_append_basic(created, SD_BUS_TYPE_STRING, text.c_str());
  }
  if (result >= 0) result = sd_bus_send(nullptr, created, nullptr);
  return result < 0 ? ReplyError(call, SD_BUS_ERROR_NO_MEMORY, "The answer could not be sent.") : size;
}

}  // namespace vantry
