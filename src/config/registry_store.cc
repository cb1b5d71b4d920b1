#include "config/registry_store.h"

#include <algorithm>

#include "config/value_forms.h"
#include "core/text.h"

namespace vantry {
namespace {

constexpr char kProxySection[] = "Internet Settings";

std::optional<Proxy> ParseProxy(std::string_view server) {
  if (const size_t at = server.find("http="); at != std::string_view::npos) {
    server = server.substr(at + 5);
    server = server.substr(0, server.find(';'));
  }
  const size_t colon = server.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  return Proxy{std::string(server.substr(0, colon)), LeadingNumber(server.substr(colon + 1))};
}

// The lines before the first section are not a section that can be asked for.
RegistrySection* Find(std::vector<RegistrySection>& sections, std::string_view name) {
  return name.empty() ? nullptr : FindSection(sections, name);
}

}  // namespace

Status RegistryFile::Load(std::vector<RegistrySection>& sections) {
  std::string bytes;
  const Status status = files_.Read(path_, bytes);
  if (status.fail == Fail::kNotFound) return Status::Ok();
  if (!status.ok()) return status;
  sections = ParseRegistry(bytes);
  return Status::Ok();
}

Status RegistryFile::Save(std::vector<RegistrySection> sections) {
  return files_.Replace(path_, FormatRegistry(std::move(sections)));
}

std::vector<std::string> RegistryFile::FindSecurityDamage(std::span<const std::string_view> known) {
  std::string bytes;
  const Status status = files_.Read(path_, bytes);
  if (status.fail == Fail::kNotFound) return {};
  if (!status.ok()) return {"it can't be read (" + status.text + ")"};
  return SecurityDamage(bytes, known);
}

std::vector<std::string> RegistryFile::FindSectionDamage(std::string_view section,
                                                         std::span<const std::string_view> known) {
  std::string bytes;
  const Status status = files_.Read(path_, bytes);
  if (status.fail == Fail::kNotFound) return {};
  if (!status.ok()) return {"it can't be read (" + status.text + ")"};
  return SectionDamage(bytes, section, known);
}

std::optional<std::string> RegistryFile::Get(const std::string& section, const std::string& name) {
  std::vector<RegistrySection> sections;
  if (!Load(sections).ok()) return std::nullopt;
  if (const RegistrySection* s = Find(sections, section)) {
    for (const RegistryLine& line : s->lines) {
      if (line.readable && EqualsNoCase(line.name, name)) return line.value;
    }
  }
  return std::nullopt;
}

Status RegistryFile::Set(const std::string& section, const std::string& name, const std::string& value) {
  std::vector<RegistrySection> sections;
  // Without a section line of its own the value would fall to the section before it.
  if (section.empty()) return Status::Error(Fail::kBadData, "a section needs a name");
  // A store that can't be read is not overwritten: its other values would be lost.
  if (const Status status = Load(sections); !status.ok()) return status;
  RegistrySection* s = Find(sections, section);
  if (!s) s = &sections.emplace_back(RegistrySection{OneLine(section), {}});
  const std::string text = OneLine(value);
  for (RegistryLine& line : s->lines) {
    if (!line.readable || !EqualsNoCase(line.name, name)) continue;
    if (line.value == text) return Status::Ok();
    line.value = text;
    return Save(std::move(sections));
  }
  s->lines.push_back({OneLine(name), text, true});
  return Save(std::move(sections));
}

Status RegistryFile::DeleteValue(const std::string& section, const std::string& name) {
  std::vector<RegistrySection> sections;
  if (const Status status = Load(sections); !status.ok()) return status;
  if (RegistrySection* s = Find(sections, section)) {
    std::erase_if(s->lines, [&](const RegistryLine& line) { return line.readable && EqualsNoCase(line.name, name); });
  }
  return Save(std::move(sections));
}

bool RegistryFile::SectionExists(const std::string& section) {
  std::vector<RegistrySection> sections;
  return Load(sections).ok() && Find(sections, section) != nullptr;
}

Status RegistryFile::CreateSection(const std::string& section) {
  std::vector<RegistrySection> sections;
  if (const Status status = Load(sections); !status.ok()) return status;
  if (section.empty()) return Status::Error(Fail::kBadData, "a section needs a name");
  if (Find(sections, section)) return Status::Ok();
  sections.push_back({OneLine(section), {}});
  return Save(std::move(sections));
}

Status RegistryFile::DeleteSection(const std::string& section) {
  std::vector<RegistrySection> sections;
  if (const Status status = Load(sections); !status.ok()) return status;
  std::erase_if(sections, [&](const RegistrySection& s) { return !section.empty() && EqualsNoCase(s.name, section); });
  return Save(std::move(sections));
}

std::vector<std::string> RegistryFile::Names(const std::string& section) {
  std::vector<RegistrySection> sections;
  std::vector<std::string> names;
  if (!Load(sections).ok()) return names;
  if (const RegistrySection* s = Find(sections, section)) {
    for (const RegistryLine& line : s->lines) {
      if (line.readable) names.push_back(line.name);
    }
  }
  return names;
}

std::vector<std::string> RegistryFile::Sections(const std::string& section) {
  std::vector<RegistrySection> sections;
  std::vector<std::string> names;
  if (!Load(sections).ok()) return names;
  const std::string prefix = section.empty() ? "" : Lower(section) + "\\";
  for (const RegistrySection& s : sections) {
    if (s.name.empty() || !StartsWith(Lower(s.name), prefix)) continue;
    const std::string below = s.name.substr(prefix.size());
    const std::string name = below.substr(0, below.find('\\'));
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  }
  return names;
}

bool cRegistry::Keep(const Status& status) {
  LastError = status.ok() ? "" : "Failed to create registry Key: '" + Path() + "' " + status.text + ".cRegistry";
  return status.ok();
}

bool cRegistry::KeyExists() {
  return store_.SectionExists(Path());
}
bool cRegistry::CreateKey() {
  return Keep(store_.CreateSection(Path()));
}
bool cRegistry::DeleteKey() {
  return store_.DeleteSection(Path()).ok();
}
bool cRegistry::DeleteValue() {
  return store_.DeleteValue(Path(), ValueKey).ok();
}
std::string cRegistry::Value() {
  return store_.Get(Path(), ValueKey).value_or(Default);
}
bool cRegistry::SetValue(const std::string& value) {
  return Keep(store_.Set(Path(), ValueKey, value));
}
std::vector<std::string> cRegistry::EnumerateValues() {
  return store_.Names(Path());
}
std::vector<std::string> cRegistry::EnumerateSections() {
  return store_.Sections(Path());
}

bool cRegistry::CreateEXEAssociation(const std::string& program, const std::string& class_name,
                                     const std::string& description, const std::string& extension) {
  return Keep(store_.Set("Classes\\" + extension, "Class", class_name)) &&
         Keep(store_.Set("Classes\\" + class_name, "Description", description)) &&
         CreateAdditionalEXEAssociations(class_name, {{"open", program + " \"%1\""}});
}

bool cRegistry::CreateAdditionalEXEAssociations(const std::string& class_name,
                                                const std::vector<std::pair<std::string, std::string>>& verbs) {
  for (const auto& [verb, command] : verbs) {
    if (!Keep(store_.Set("Classes\\" + class_name + "\\shell\\" + verb, "command", command))) return false;
  }
  return true;
}

std::string ReadRegistryValue(KeyStore& store, const std::string& section, const std::string& name,
                              const std::string& fallback) {
  cRegistry registry(store);
  registry.SectionKey = section;
  registry.ValueKey = name;
  registry.Default = fallback;
  return registry.Value();
}

void WriteRegistryValue(KeyStore& store, const std::string& section, const std::string& name,
                        const std::string& value) {
  cRegistry registry(store);
  registry.SectionKey = section;
  registry.ValueKey = name;
  registry.SetValue(value);
}

std::optional<Proxy> ReadProxy(KeyStore& store, const std::string& http_proxy) {
  const auto enabled = store.Get(kProxySection, "ProxyEnable");
  if (enabled) {
    const auto server = store.Get(kProxySection, "ProxyServer");
    if (LeadingNumber(*enabled) == 0 || !server || server->empty()) return std::nullopt;
    return ParseProxy(*server);
  }
  std::string_view text = http_proxy;
  if (StartsWith(text, "http://")) text.remove_prefix(7);
  text = text.substr(0, text.find('/'));
  if (const size_t at = text.rfind('@'); at != std::string_view::npos) text = text.substr(at + 1);
  return text.empty() ? std::nullopt : ParseProxy(text);
}

}  // namespace vantry
