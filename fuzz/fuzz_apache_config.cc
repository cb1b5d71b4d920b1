// A configuration of Apache, which may include itself and is its own start script.
#include <cstdint>
#include <string>

#include "import/apache.h"
#include "support/config_fuzz.h"
#include "support/memory_tree.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vantry::MemoryTree tree;
  tree.files["/etc/apache2/apache2.conf"] = std::string(reinterpret_cast<const char*>(data), size);
  vantry::FoundSites found;
  const vantry::ApachePlace place{"/etc/apache2/apache2.conf", "/etc/apache2", "/etc/apache2/apache2.conf"};
  if (!vantry::FindApacheSites(tree, place, "machine", found)) std::abort();
  vantry::RequireSoundSites(found);
  return 0;
}
