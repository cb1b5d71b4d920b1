// Subjects of the network tools, and what registries and machines on the way answer.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "network/who_is_answer.h"
#include "network/who_is_query.h"
#include "platform/icmp_text.h"
#include "platform/net_address.h"
#include "platform/rdap_text.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

void TrySubject(std::string_view text) {
  const std::string name = vantry::WhoIsName(text);
  if (!vantry::CanBeAsked(name)) return;
  const std::string question = vantry::CutName(name);
  Require(question.size() <= name.size() && name.ends_with(question) && !question.empty());
  Require(std::all_of(question.begin(), question.end(), [](char c) { return c > ' ' && c <= '~'; }));
}

void TryAnswer(std::string_view text) {
  for (const vantry::WhoIsField& field : vantry::WhoIsFields(text)) {
    Require(!field.value.empty() && field.value.size() <= 500 && field.value.find('\n') == std::string::npos);
  }
  // A server that is followed is one that may be connected to, and nothing that reads as an option.
  if (const auto server = vantry::ReferralOf(text)) {
    Require(!server->empty() && server->front() != '-' && server->find_first_of(" /@\r\n") == std::string::npos);
  }
  (void)vantry::SaysNothing(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  TrySubject(text);
  TryAnswer(text);
  std::string lines;
  if (vantry::ReadRdap(text, lines).ok()) TryAnswer(lines);
  for (const bool v6 : {false, true}) {
    const auto echo = vantry::ReadEchoReply(v6, vantry::MessageInPacket(text));
    Require(!echo || echo->payload.size() < size);
  }
  if (const auto reply = vantry::ReadPingOutput(text)) Require(reply->bytes >= 0);
  return 0;
}
