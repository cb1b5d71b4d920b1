#include "desktop/window_layout.h"

#include <QByteArray>
#include <vector>

#include "config/registry_text.h"

namespace vantry {
namespace {

constexpr char kBands[] = "Bands";
// A layout of this program takes some kilobytes.
constexpr size_t kMostBytes = 1 << 20;

}  // namespace

std::string FormatLayout(const WindowLayout& layout) {
  const QByteArray bands(layout.bands.data(), static_cast<qsizetype>(layout.bands.size()));
  std::vector<RegistrySection> sections;
  sections.push_back(
      {kBands, {{"Version", std::to_string(kLayoutVersion)}, {"State", bands.toBase64().toStdString()}}});
  for (const auto& [list, columns] : layout.lists) {
    RegistrySection& section = sections.emplace_back();
    section.name = list;
    for (const auto& [name, value] : columns) section.lines.push_back({name, value});
  }
  return FormatRegistry(std::move(sections));
}

WindowLayout ParseLayout(std::string_view bytes) {
  WindowLayout layout;
  if (bytes.size() > kMostBytes) return layout;
  std::string version, state;
  for (const RegistrySection& section : ParseRegistry(bytes)) {
    for (const RegistryLine& line : section.lines) {
      if (!line.readable) continue;
      if (section.name != kBands) {
        layout.lists[section.name][line.name] = line.value;
      } else if (line.name == "Version") {
        version = line.value;
      } else if (line.name == "State") {
        state = line.value;
      }
    }
  }
  if (version == std::to_string(kLayoutVersion)) {
    layout.bands = QByteArray::fromBase64(QByteArray::fromStdString(state)).toStdString();
  }
  return layout;
}

}  // namespace vantry
