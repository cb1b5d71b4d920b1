// A configuration of nginx, which may include itself.
#include <cstdint>
#include <string>

#include "import/nginx.h"
#include "support/config_fuzz.h"
#include "support/memory_tree.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vantry::MemoryTree tree;
  tree.files["/etc/nginx/nginx.conf"] = std::string(reinterpret_cast<const char*>(data), size);
  vantry::FoundSites found;
  if (!vantry::FindNginxSites(tree, "/etc/nginx/nginx.conf", "machine", found)) std::abort();
  vantry::RequireSoundSites(found);
  return 0;
}
