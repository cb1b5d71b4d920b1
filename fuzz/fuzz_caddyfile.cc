// A Caddyfile, which may import itself.
#include <cstdint>
#include <string>

#include "import/caddy.h"
#include "support/config_fuzz.h"
#include "support/memory_tree.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vantry::MemoryTree tree;
  tree.files["/etc/caddy/Caddyfile"] = std::string(reinterpret_cast<const char*>(data), size);
  vantry::FoundSites found;
  if (!vantry::FindCaddyfileSites(tree, "/etc/caddy/Caddyfile", "machine", found)) std::abort();
  vantry::RequireSoundSites(found);
  return 0;
}
