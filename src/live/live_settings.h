// The section `Live` of registry.ini: whether and where the live page and its numbers are served.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "config/registry_store.h"
#include "ports/files.h"
#include "ports/http_server.h"

namespace vantry {

inline constexpr char kLiveSection[] = "Live";

struct LiveLogin {
  std::string user, password_hash;
  bool Wanted() const { return !password_hash.empty(); }
};

struct LiveSettings {
  HttpPlace place;
  std::string base_path;  // Empty, or "/" and a name, without "/" at the end.
  LiveLogin login;
};

// Empty when nothing is to be served: the section has no Port, or something in it is wrong, which `problem` then says.
std::optional<LiveSettings> ReadLiveSettings(RegistryFile& registry, Files& files, std::string& problem);

// Name and hash as they stand there now, so that a change counts at once.
LiveLogin ReadLiveLogin(RegistryFile& registry);

bool IsLoopbackAddress(std::string_view address);

}  // namespace vantry
