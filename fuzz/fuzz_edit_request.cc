// A change as it comes to a running program: either nothing happens, or the files hold what the tables do.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "../tests/support/memory_files.h"
#include "config/settings_file.h"
#include "config/site_file.h"
#include "forms/edits.h"

namespace {

using namespace vantry;

void Require(bool holds) {
  if (!holds) std::abort();
}

struct World {
  MemoryFiles files;
  LiveTables t;
  Settings settings;
  World() {
    files.Put("/logs/access.log", "");
    for (const char* name : {"One", "Two"}) {
      SiteRec& site = t.Sites.emplace_back();
      site.Name = name;
      site.Domain = std::string("www.") + name;
      site.Folder = "/logs/";
      site.Mask = "*.log";
      AddAlertDefinition(t, t.SiteCount(), "All");
    }
    AddDefaultExTypes(settings.ExceptionTypes);
    settings.Extension = Settings::DefaultExtensions();
  }
  std::string Written() {
    return FormatSites(Regional{}, t) + FormatSettings(settings) + FormatExTypes(settings.ExceptionTypes);
  }
};

// What is read from what was written is written alike.
void RequireKept(World& world) {
  LiveTables read;
  Require(!ParseSites(FormatSites(Regional{}, world.t), Regional{}, read));
  Require(FormatSites(Regional{}, read) == FormatSites(Regional{}, world.t));
  Settings settings;
  Require(!ParseSettings(FormatSettings(world.settings), settings));
  Require(FormatSettings(settings) == FormatSettings(world.settings));
  std::vector<ExceptionType> types;
  Require(!ReadExTypes(FormatExTypes(world.settings.ExceptionTypes), types));
  Require(FormatExTypes(types) == FormatExTypes(world.settings.ExceptionTypes));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  Require(!IsToken(bytes) || bytes.find_first_not_of("0123456789abcdef") == std::string_view::npos);
  EditRequest request, again;
  if (!ParseRequest(bytes, request).ok()) return 0;
  Require(ParseRequest(FormatRequest(request), again).ok());
  Require(FormatRequest(again) == FormatRequest(request));
  World world;
  const std::string before = world.Written();
  std::string told;
  const bool done = ApplyEdit(request, {world.t, world.settings, world.files, WallTime{1'000}}, told).ok();
  Require(done != told.empty());
  if (!done) Require(world.Written() == before);
  RequireKept(world);
  return 0;
}
