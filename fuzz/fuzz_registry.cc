// The bytes of registry.ini, as an operator may have left them. A value that is set must be found again, and no other
// section may change by it.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "../tests/support/memory_files.h"
#include "config/registry_store.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  MemoryFiles files;
  files.Put("registry.ini", bytes);
  RegistryFile store(files, "registry.ini");
  (void)ReadProxy(store, bytes);
  const auto sections = store.Sections("");
  const auto names = store.Names("Settings");
  const auto other = store.Get("Form", "FormTop");
  if (!store.Set("Settings", "Fuzz", "[a]=b").ok() || store.Get("Settings", "Fuzz") != "[a]=b") std::abort();
  if (store.Get("Form", "FormTop") != other) std::abort();
  if (store.Names("Settings").size() < names.size() || store.Sections("").size() < sections.size()) std::abort();
  if (!store.DeleteValue("Settings", "Fuzz").ok() || store.Get("Settings", "Fuzz")) std::abort();
  if (!store.DeleteSection("Settings").ok() || store.SectionExists("Settings")) std::abort();
  if (store.Get("Form", "FormTop") != other) std::abort();
  return 0;
}
