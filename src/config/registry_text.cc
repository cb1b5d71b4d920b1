#include "config/registry_text.h"

#include <algorithm>

#include "config/value_forms.h"
#include "core/text.h"

namespace vantry {
namespace {

constexpr std::string_view kSecurity = "Security";
constexpr std::string_view kLive = "Live";
constexpr std::string_view kListMark = "; Security holds:";

bool IsComment(std::string_view line) {
  return line.front() == ';' || line.front() == '#';
}

bool IsList(const RegistryLine& line) {
  return !line.readable && StartsWith(line.value, kListMark);
}

bool Holds(std::span<const std::string> names, std::string_view name) {
  return std::any_of(names.begin(), names.end(), [&](const std::string& n) { return EqualsNoCase(n, name); });
}

// The names that the list in the first line holds.
std::vector<std::string> ListedNames(const std::vector<RegistrySection>& sections) {
  std::vector<std::string> names;
  if (sections.empty() || !sections[0].name.empty()) return names;
  for (const RegistryLine& line : sections[0].lines) {
    if (!IsList(line)) continue;
    for (const std::string_view part : Split(std::string_view(line.value).substr(kListMark.size()), ',')) {
      const std::string_view name = Trim(part);
      if (!name.empty() && !Holds(names, name)) names.emplace_back(name);
    }
  }
  return names;
}

void RenewList(std::vector<RegistrySection>& sections) {
  std::vector<std::string> names = ListedNames(sections);
  if (const RegistrySection* security = FindSection(sections, kSecurity)) {
    for (const RegistryLine& line : security->lines) {
      if (line.readable && !Holds(names, line.name)) names.push_back(line.name);
    }
  }
  if (names.empty()) return;
  if (sections[0].name.empty()) {
    std::erase_if(sections[0].lines, IsList);
  } else {
    sections.insert(sections.begin(), RegistrySection{});
  }
  RegistryLine list{"", std::string(kListMark), false};
  for (const std::string& name : names) list.value.append(&name == names.data() ? " " : ", ").append(name);
  sections[0].lines.insert(sections[0].lines.begin(), std::move(list));
}

class Examination {
 public:
  Examination(std::vector<RegistrySection> sections, std::span<const std::string_view> known)
      : sections_(std::move(sections)), known_(known) {}

  std::vector<std::string> Run() {
    for (const RegistrySection& section : sections_) {
      const bool security = EqualsNoCase(section.name, kSecurity);
      const bool live = EqualsNoCase(section.name, kLive);
      for (const RegistryLine& line : section.lines) {
        // The one name that another section has too.
        if (!live || !EqualsNoCase(line.name, "BindAddress")) Look(line, security);
      }
    }
    for (const std::string& name : ListedNames(sections_)) {
      if (IsKnown(name) && !Holds(held_, name)) {
        found_.push_back("its section Security has lost " + name + ", which the first line of the file lists");
      }
    }
    return std::move(found_);
  }

 private:
  bool IsKnown(std::string_view name) const {
    return std::any_of(known_.begin(), known_.end(), [&](std::string_view k) { return EqualsNoCase(k, name); });
  }

  void Look(const RegistryLine& line, bool security) {
    if (!line.readable) {
      if (security && !IsComment(line.value)) {
        found_.push_back("in its section Security the line '" + line.value + "' can't be read");
      }
    } else if (security && !IsKnown(line.name)) {
      found_.push_back("its section Security can't hold the name " + line.name);
    } else if (!security && IsKnown(line.name)) {
      found_.push_back("its line " + line.name + " is outside the section Security");
    } else if (security) {
      held_.push_back(line.name);
    }
  }

  std::vector<RegistrySection> sections_;
  std::span<const std::string_view> known_;
  std::vector<std::string> held_, found_;
};

}  // namespace

std::vector<RegistrySection> ParseRegistry(std::string_view bytes) {
  std::vector<RegistrySection> sections;
  std::string current;
  for (const std::string_view raw : TextLines(bytes)) {
    const std::string_view line = Trim(raw);
    if (line.empty()) continue;
    if (line.size() > 2 && line.front() == '[' && line.back() == ']') {
      current = line.substr(1, line.size() - 2);
      if (!FindSection(sections, current)) sections.push_back({current, {}});
      continue;
    }
    if (sections.empty()) sections.emplace_back();
    RegistrySection& section = *FindSection(sections, current);
    const size_t at = line.find('=');
    if (at == std::string_view::npos || IsComment(line)) {
      section.lines.push_back({"", std::string(line), false});
    } else {
      section.lines.push_back({std::string(Trim(line.substr(0, at))), std::string(Trim(line.substr(at + 1))), true});
    }
  }
  return sections;
}

std::string FormatRegistry(std::vector<RegistrySection> sections) {
  RenewList(sections);
  std::string out;
  for (const RegistrySection& section : sections) {
    if (!section.name.empty()) out += "[" + section.name + "]\n";
    for (const RegistryLine& line : section.lines) {
      if (line.readable) out += line.name + "=";
      out += line.value + "\n";
    }
    out += "\n";
  }
  return out;
}

RegistrySection* FindSection(std::vector<RegistrySection>& sections, std::string_view name) {
  const auto it =
      std::find_if(sections.begin(), sections.end(), [&](const auto& s) { return EqualsNoCase(s.name, name); });
  return it == sections.end() ? nullptr : &*it;
}

std::vector<std::string> SecurityDamage(std::string_view bytes, std::span<const std::string_view> known) {
  if (!bytes.empty() && bytes.back() != '\n' && bytes.back() != '\r') {
    return {"its last line has no end, so more may be missing"};
  }
  return Examination(ParseRegistry(bytes), known).Run();
}

std::vector<std::string> SectionDamage(std::string_view bytes, std::string_view section,
                                       std::span<const std::string_view> known) {
  std::vector<std::string> found, names;
  const std::string place = "in its section " + std::string(section) + " ";
  for (const RegistrySection& part : ParseRegistry(bytes)) {
    const bool inside = EqualsNoCase(part.name, section);
    for (const RegistryLine& line : part.lines) {
      if (!line.readable) {
        const bool comment = IsComment(line.value);
        const bool heading = !comment && line.value.front() == '[' && Contains(Lower(line.value), Lower(section));
        if (heading) found.push_back("its line '" + line.value + "' is not a heading");
        if (inside && !comment && !heading) found.push_back(place + "the line '" + line.value + "' can't be read");
      } else if (inside && Holds(names, line.name)) {
        found.push_back(place + line.name + " stands twice");
      } else if (inside) {
        names.push_back(line.name);
        const bool fits =
            std::any_of(known.begin(), known.end(), [&](std::string_view k) { return EqualsNoCase(k, line.name); });
        if (!fits) found.push_back(place + "there is no such name as " + line.name);
      }
    }
  }
  return found;
}

}  // namespace vantry
