#include "platform/dns_answer.h"

#include <memory>

#include <ares.h>
#include <netdb.h>
#include <netinet/in.h>

#include "platform/dns_text.h"

namespace vantry {

int ReadHostName(std::span<const uint8_t> answer, std::string& name) {
  const in_addr unused{};
  hostent* host = nullptr;
  const int status =
      ares_parse_ptr_reply(answer.data(), static_cast<int>(answer.size()), &unused, sizeof unused, AF_INET, &host);
  const std::unique_ptr<hostent, decltype(&ares_free_hostent)> owner(host, &ares_free_hostent);
  if (status != ARES_SUCCESS) return status;
  // The aliases hold all names in their order; h_name is the last one.
  const std::string first = host->h_aliases[0] ? host->h_aliases[0] : host->h_name;
  if (!IsHostName(first)) return ARES_EBADNAME;
  name = first;
  return ARES_SUCCESS;
}

}  // namespace vantry
