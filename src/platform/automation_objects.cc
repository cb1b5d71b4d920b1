#include "platform/automation_objects.h"

#include <cerrno>

#include "core/text_encoding.h"

namespace vantry {
namespace {

using Arguments = AutomationObjects::Arguments;
using Results = AutomationObjects::Results;

template <auto Get>
Status OfSite(AutomationCalls& calls, Arguments& in, Results& out) {
  out.emplace_back((calls.*Get)(in.Short()));
  return Status::Ok();
}

template <auto Get>
Status PlainPage(AutomationCalls& calls, Arguments& in, Results& out) {
  std::string page;
  Status status = (calls.*Get)(in.Short(), page);
  out.emplace_back(std::move(page));
  return status;
}

template <auto Get>
Status DomainPage(AutomationCalls& calls, Arguments& in, Results& out) {
  std::string page;
  const int16_t client_no = in.Short();
  Status status = (calls.*Get)(client_no, in.Text(), page);
  out.emplace_back(std::move(page));
  return status;
}

// The number is returned unchanged: it has no effect on the page.
template <auto Get>
Status NumberedPage(AutomationCalls& calls, Arguments& in, Results& out) {
  Status status = DomainPage<Get>(calls, in, out);
  out.emplace_back(in.Long());
  return status;
}

Status SiteTable(AutomationCalls& calls, Arguments& in, Results& out) {
  std::string page;
  const int16_t client_no = in.Short();
  Status status = calls.SiteTable(client_no, in.Short(), page);
  out.emplace_back(std::move(page));
  return status;
}

Status HTMLHeader(AutomationCalls& calls, Arguments& in, Results& out) {
  const std::string_view title = in.Text();
  const bool no_refresh = in.Flag();
  std::string back_colour(in.Text());
  out.emplace_back(calls.HTMLHeader(title, no_refresh, back_colour));
  out.emplace_back(std::move(back_colour));
  return Status::Ok();
}

Status HTMLFooter(AutomationCalls& calls, Arguments&, Results& out) {
  out.emplace_back(calls.HTMLFooter());
  return Status::Ok();
}

Status VisitorsList(AutomationCalls& calls, Arguments& in, Results& out) {
  out.emplace_back(calls.GetVisitorsList(in.Text()));
  return Status::Ok();
}

Status ExtractLog(AutomationCalls& calls, Arguments& in, Results& out) {
  std::string name;
  const std::string_view key = in.Text();
  Status status = calls.ExtractLogEntriesToFile(key, in.Short(), name);
  out.emplace_back(std::move(name));
  return status;
}

template <AutomationObjects::Body body>
int Method(sd_bus_message* message, void* objects, sd_bus_error*) {
  return static_cast<AutomationObjects*>(objects)->Take(message, body);
}

int GetInterface(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*, sd_bus_error*) {
  return sd_bus_message_append_basic(reply, SD_BUS_TYPE_OBJECT_PATH, kInterfacePath);
}

int GetNumberOfSites(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void* objects,
                     sd_bus_error*) {
  const int16_t count = static_cast<AutomationObjects*>(objects)->Calls().NumberOfSites();
  return sd_bus_message_append_basic(reply, SD_BUS_TYPE_INT16, &count);
}

// Who may call is the policy of the bus.
constexpr uint64_t kOpen = SD_BUS_VTABLE_UNPRIVILEGED;
using C = AutomationCalls;

const sd_bus_vtable kConnectorTable[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_PROPERTY("Interface", "o", GetInterface, 0, SD_BUS_VTABLE_PROPERTY_CONST),
    SD_BUS_VTABLE_END};

#define DOMAIN_PAGE(name, argument)                                                                   \
  SD_BUS_METHOD_WITH_ARGS(#name, SD_BUS_ARGS("n", ClientNo, "s", argument), SD_BUS_RESULT("s", Page), \
                          Method<DomainPage<&C::name>>, kOpen)
#define PLAIN_PAGE(name)                                                                                            \
  SD_BUS_METHOD_WITH_ARGS(#name, SD_BUS_ARGS("n", ClientNo), SD_BUS_RESULT("s", Page), Method<PlainPage<&C::name>>, \
                          kOpen)
#define OF_SITE(name, type, result)                                                                                   \
  SD_BUS_METHOD_WITH_ARGS(#name, SD_BUS_ARGS("n", SiteNumber), SD_BUS_RESULT(type, result), Method<OfSite<&C::name>>, \
                          kOpen)

// Programs may rely on this order of the operations.
const sd_bus_vtable kInterfaceTable[] = {
    SD_BUS_VTABLE_START(0),
    OF_SITE(LogFileName, "s", Name),
    OF_SITE(LogFileDomain, "s", Domain),
    OF_SITE(LogFileCurrentVisitors, "i", Count),
    OF_SITE(LogFileTotalSpiders, "i", Count),
    OF_SITE(LogFileTotalVisitors, "i", Count),
    OF_SITE(LogFileTotalAlerts, "i", Count),
    SD_BUS_PROPERTY("NumberOfSites", "n", GetNumberOfSites, 0, 0),
    DOMAIN_PAGE(VisitorsTable, Domain),
    SD_BUS_METHOD_WITH_ARGS("SiteTable", SD_BUS_ARGS("n", ClientNo, "n", LogNo), SD_BUS_RESULT("s", Page),
                            Method<SiteTable>, kOpen),
    DOMAIN_PAGE(VisitorDetailsTable, DomainVisitor),
    DOMAIN_PAGE(PreviousVisitsTable, DomainVisitor),
    PLAIN_PAGE(SitesTable),
    DOMAIN_PAGE(AlertsTypeList, Domain),
    SD_BUS_METHOD_WITH_ARGS("AlertsTable", SD_BUS_ARGS("n", ClientNo, "s", Domain, "i", StartNo),
                            SD_BUS_RESULT("s", Page, "i", StartNo), Method<NumberedPage<&C::AlertsTable>>, kOpen),
    DOMAIN_PAGE(SpidersTable, Domain),
    DOMAIN_PAGE(ExceptionsTable, Domain),
    PLAIN_PAGE(LoginTable),
    PLAIN_PAGE(InvalidLogin),
    SD_BUS_METHOD_WITH_ARGS("ReferrersTable", SD_BUS_ARGS("n", ClientNo, "s", Domain, "i", PageNo),
                            SD_BUS_RESULT("s", Page, "i", PageNo), Method<NumberedPage<&C::ReferrersTable>>, kOpen),
    SD_BUS_METHOD_WITH_ARGS("HTMLHeader", SD_BUS_ARGS("s", Title, "b", NoRefreshStop, "s", BackColour),
                            SD_BUS_RESULT("s", Page, "s", BackColour), Method<HTMLHeader>, kOpen),
    SD_BUS_METHOD_WITH_ARGS("HTMLFooter", SD_BUS_NO_ARGS, SD_BUS_RESULT("s", Page), Method<HTMLFooter>, kOpen),
    SD_BUS_METHOD_WITH_ARGS("GetVisitorsList", SD_BUS_ARGS("s", Domain), SD_BUS_RESULT("s", List), Method<VisitorsList>,
                            kOpen),
    SD_BUS_METHOD_WITH_ARGS("ExtractLogEntriesToFile", SD_BUS_ARGS("s", VisitorKey, "n", ClientNo),
                            SD_BUS_RESULT("s", FileName), Method<ExtractLog>, kOpen),
    SD_BUS_SIGNAL_WITH_ARGS("VisitorArrived",
                            SD_BUS_ARGS("s", Domain, "s", IPAddress, "s", StartTime, "s", StartPage, "s", Browser, "s",
                                        Spider, "s", Referrer, "b", Alert),
                            0),
    SD_BUS_SIGNAL_WITH_ARGS("DNSResolved", SD_BUS_ARGS("s", IPAddress, "s", DNS), 0),
    SD_BUS_SIGNAL_WITH_ARGS("VisitorPageMove", SD_BUS_ARGS("s", Domain, "s", IPAddress, "s", MoveTime, "s", NewPage),
                            0),
    SD_BUS_SIGNAL_WITH_ARGS("VisitorLeft", SD_BUS_ARGS("s", Domain, "s", IPAddress), 0),
    SD_BUS_VTABLE_END};

size_t ReplyError(sd_bus_message* call, const char* name, const std::string& text) {
  const sd_bus_error error{name, text.c_str(), 0};
  sd_bus_reply_method_error(call, &error);
  return text.size();
}

}  // namespace

int AutomationObjects::AddTo(sd_bus* bus) {
  const int result = sd_bus_add_object_vtable(bus, nullptr, kConnectorPath, kConnectorInterface, kConnectorTable, this);
  return result < 0
             ? result
             : sd_bus_add_object_vtable(bus, nullptr, kInterfacePath, kInterfaceInterface, kInterfaceTable, this);
}

int AutomationObjects::Take(sd_bus_message* message, Body body) {
  const Status taken = Attempt([&] {
    if (waiting_.size() >= kMaxWaiting) return Status::Error(Fail::kRefused, "Too many calls wait for their answers.");
    waiting_.push_back({BusMessage(sd_bus_message_ref(message)), body});
    call_waits_();
    return Status::Ok();
  });
  if (!taken.ok()) ReplyError(message, SD_BUS_ERROR_LIMITS_EXCEEDED, taken.text);
  return 1;
}

size_t AutomationObjects::ServeOne() {
  const Call call = std::move(waiting_.front());
  waiting_.pop_front();
  Arguments in(call.message.get());
  Results results;
  Status status = Attempt([&] { return call.body(calls_, in, results); });
  if (in.Unreadable()) status = Status::Error(Fail::kBadData, "An argument can't be read.");
  if (status.ok()) return Answer(call.message.get(), results);
  const bool bad = status.fail == Fail::kBadData;
  return ReplyError(call.message.get(), bad ? SD_BUS_ERROR_INVALID_ARGS : SD_BUS_ERROR_FAILED, RepairUtf8(status.text));
}

size_t AutomationObjects::Answer(sd_bus_message* call, const Results& results) {
  if (sd_bus_message_get_expect_reply(call) <= 0) return 0;
  sd_bus_message* created = nullptr;
  int result = sd_bus_message_new_method_return(call, &created);
  const BusMessage reply(created);
  size_t size = 0;
  for (const auto& value : results) {
    if (result < 0) break;
    if (const auto* number = std::get_if<int32_t>(&value)) {
      result = sd_bus_message_append_basic(created, SD_BUS_TYPE_INT32, number);
      continue;
    }
    const std::string text = RepairUtf8(std::get<std::string>(value));
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
