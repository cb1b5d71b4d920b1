// The text of registry.ini: sections `[Name]` with `Name=value` lines.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

struct RegistryLine {
  std::string name, value;
  bool readable = true;  // False for a line without a name and a "=": a comment, or damage. `value` is the whole line.
};

struct RegistrySection {
  std::string name;  // Empty for what comes before the first section.
  std::vector<RegistryLine> lines;
};

// Reads every line, so that FormatRegistry writes what could not be read back as it was. A section that stands twice is
// one section. Empty lines are dropped.
std::vector<RegistrySection> ParseRegistry(std::string_view bytes);

// Each section is followed by an empty line. Once there is a section `Security`, the first line lists its names, with
// those that an earlier list holds: a file that has lost one of them can thus be told from one that never had it.
std::string FormatRegistry(std::vector<RegistrySection> sections);

// Null when there is no section of this name, in any case.
RegistrySection* FindSection(std::vector<RegistrySection>& sections, std::string_view name);

// What is wrong with the section `Security`, or with the file so far as it may have cost that section something.
// `known` are the names that the section may hold. Each text is a sentence without a full stop; none when all is well.
std::vector<std::string> SecurityDamage(std::string_view bytes, std::span<const std::string_view> known);

// What is wrong with another section, as far as it can be told, in the same form: a line that can't be read, a name
// that is not in `known` or stands twice, a heading that has lost its bracket.
std::vector<std::string> SectionDamage(std::string_view bytes, std::string_view section,
                                       std::span<const std::string_view> known);

}  // namespace vantry
