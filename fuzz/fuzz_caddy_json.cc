// A configuration of Caddy in JSON.
#include <cstdint>
#include <string>

#include "import/caddy.h"
#include "support/config_fuzz.h"
#include "support/memory_tree.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vantry::MemoryTree tree;
  tree.files["/c.json"] = std::string(reinterpret_cast<const char*>(data), size);
  vantry::FoundSites found;
  if (!vantry::FindCaddyJsonSites(tree, "/c.json", "machine", found)) std::abort();
  vantry::RequireSoundSites(found);
  return 0;
}
