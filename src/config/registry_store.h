// The registry store: the few values that must survive outside the configuration files. `RegistryFile` keeps them in
// registry.ini, `cRegistry` wraps a store as an object, and the two routines on top are what the program uses.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/registry_text.h"
#include "ports/files.h"
#include "ports/key_store.h"

namespace vantry {

// Sections `[Name]` with `Name=value` lines. Names are matched without regard to case. Each change replaces the file as
// a whole; each read looks at the file again, so that an operator's edit counts at once. Lines of any other form are
// kept where they are: comments, and what damage has made of a value.
class RegistryFile final : public KeyStore {
 public:
  RegistryFile(Files& files, std::string path) : files_(files), path_(std::move(path)) {}

  std::optional<std::string> Get(const std::string& section, const std::string& name) override;
  Status Set(const std::string& section, const std::string& name, const std::string& value) override;
  Status DeleteValue(const std::string& section, const std::string& name) override;
  bool SectionExists(const std::string& section) override;
  Status CreateSection(const std::string& section) override;
  Status DeleteSection(const std::string& section) override;
  std::vector<std::string> Names(const std::string& section) override;
  std::vector<std::string> Sections(const std::string& section) override;

  // As SecurityDamage of the file's text; a file that is there and can't be read is damaged too.
  std::vector<std::string> FindSecurityDamage(std::span<const std::string_view> known);
  // As SectionDamage.
  std::vector<std::string> FindSectionDamage(std::string_view section, std::span<const std::string_view> known);

 private:
  Status Load(std::vector<RegistrySection>& sections);
  Status Save(std::vector<RegistrySection> sections);

  Files& files_;
  std::string path_;
};

// A cursor over a store. Failures to make a key are kept in LastError, with ".cRegistry" as their source.
class cRegistry {
 public:
  explicit cRegistry(KeyStore& store) : store_(store) {}

  bool KeyExists();
  bool CreateKey();
  bool DeleteKey();
  bool DeleteValue();
  std::string Value();  // Default when the value does not exist.
  bool SetValue(const std::string& value);
  std::vector<std::string> EnumerateValues();
  std::vector<std::string> EnumerateSections();
  // Registers a file type: its extension (with the dot), class name, description and the program that opens it.
  bool CreateEXEAssociation(const std::string& program, const std::string& class_name, const std::string& description,
                            const std::string& extension);
  // Adds verbs (verb, command) to that class.
  bool CreateAdditionalEXEAssociations(const std::string& class_name,
                                       const std::vector<std::pair<std::string, std::string>>& verbs);

  static constexpr int kText = 1, kNumber = 4;
  int ValueType = kText;
  std::string ClassKey;    // Root; empty for the program's own values.
  std::string SectionKey;  // Path below the root.
  std::string ValueKey;
  std::string Default;
  std::string LastError;

 private:
  std::string Path() const { return ClassKey.empty() ? SectionKey : ClassKey + "\\" + SectionKey; }
  bool Keep(const Status& status);
  KeyStore& store_;
};

// `fallback` when the value does not exist or can't be read.
std::string ReadRegistryValue(KeyStore& store, const std::string& section, const std::string& name,
                              const std::string& fallback);
// A write that fails is lost.
void WriteRegistryValue(KeyStore& store, const std::string& section, const std::string& name, const std::string& value);

struct Proxy {
  std::string host;
  int32_t port = 0;
};

// The system's web proxy from the section "Internet Settings", or from the text of the variable http_proxy when that
// section says nothing. Empty when there is none.
std::optional<Proxy> ReadProxy(KeyStore& store, const std::string& http_proxy);

}  // namespace vantry
