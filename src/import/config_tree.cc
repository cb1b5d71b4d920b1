#include "import/config_tree.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

#include "core/text.h"
#include "core/wildcard.h"

namespace vantry {
namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;
constexpr size_t kMostNames = 100'000;

bool HasWildcard(std::string_view part) {
  return part.find_first_of("*?[") != std::string_view::npos;
}

std::vector<std::string> PartsOf(std::string_view path) {
  std::vector<std::string> parts;
  for (const std::string_view part : Split(path, '/')) {
    if (!part.empty() && part != ".") parts.emplace_back(part);
  }
  return parts;
}

std::string Under(const std::string& folder, const std::string& name) {
  return folder == "/" ? "/" + name : folder + "/" + name;
}

}  // namespace

std::string PathFrom(const std::string& base, std::string_view path) {
  std::vector<std::string> whole;
  const std::string text = StartsWith(path, "/") ? std::string(path) : base + "/" + std::string(path);
  for (std::string& part : PartsOf(text)) {
    if (part != "..") {
      whole.push_back(std::move(part));
    } else if (!whole.empty()) {
      whole.pop_back();
    }
  }
  std::string out;
  for (const std::string& part : whole) out.append("/").append(part);
  return out.empty() ? "/" : out;
}

std::string FolderOfPath(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos || slash == 0 ? "/" : path.substr(0, slash);
}

std::vector<std::string> PathsOf(const ConfigTree& tree, const std::string& pattern, size_t most) {
  std::vector<std::string> paths{"/"};
  for (const std::string& part : PartsOf(pattern)) {
    std::vector<std::string> next;
    for (const std::string& path : paths) {
      if (!HasWildcard(part)) {
        next.push_back(Under(path, part));
        continue;
      }
      for (const std::string& name : tree.Names(path)) {
        const bool fits = (name[0] != '.' || part[0] == '.') && Like(name, part);
        if (fits && next.size() < most) next.push_back(Under(path, name));
      }
    }
    paths = std::move(next);
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::string DiskTree::PathHere(const std::string& path) const {
  // What lies on this machine's own "/" keeps the name it is known by.
  if (root_ == "/") return path;
  std::vector<std::string> ahead = PartsOf(path);
  std::reverse(ahead.begin(), ahead.end());
  std::vector<std::string> done;
  const auto here = [&] {
    std::string text = root_;
    for (const std::string& part : done) text.append(text.ends_with('/') ? "" : "/").append(part);
    return text;
  };
  for (int links = 0; !ahead.empty();) {
    const std::string part = std::move(ahead.back());
    ahead.pop_back();
    if (part == "..") {
      if (!done.empty()) done.pop_back();
      continue;
    }
    done.push_back(part);
    std::error_code error;
    const fs::path target = fs::read_symlink(here(), error);
    if (error || ++links > kMostLinks) continue;
    done.pop_back();
    if (target.is_absolute()) done.clear();
    std::vector<std::string> parts = PartsOf(target.string());
    ahead.insert(ahead.end(), parts.rbegin(), parts.rend());
  }
  return here();
}

Status DiskTree::Read(const std::string& path, size_t most, std::string& bytes) const {
  const std::string here = PathHere(path);
  std::error_code error;
  const fs::file_status status = fs::status(here, error);
  if (status.type() == fs::file_type::not_found) return Status::Error(Fail::kNotFound, here + ": is not there");
  if (status.type() == fs::file_type::unknown) return Status::Error(Fail::kIo, here + ": " + error.message());
  if (!fs::is_regular_file(status)) return Status::Error(Fail::kIo, here + ": is not a plain file");
  std::ifstream file(here, std::ios::binary);
  if (!file) return Status::Error(Fail::kIo, here + ": can't be read");
  bytes.clear();
  std::array<char, 16 * 1024> block{};
  while (file && bytes.size() <= most) {
    file.read(block.data(), static_cast<std::streamsize>(block.size()));
    bytes.append(block.data(), static_cast<size_t>(file.gcount()));
  }
  if (file.bad()) return Status::Error(Fail::kIo, here + ": can't be read");
  if (bytes.size() <= most) return Status::Ok();
  bytes.clear();
  return Status::Error(Fail::kRefused, here + ": has more than " + std::to_string(most) + " bytes");
}

std::vector<std::string> DiskTree::Names(const std::string& folder) const {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator at(PathHere(folder), error), end; !error && at != end; at.increment(error)) {
    names.push_back(at->path().filename().string());
    if (names.size() == kMostNames) break;
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool DiskTree::IsFolder(const std::string& path) const {
  std::error_code error;
  return fs::is_directory(PathHere(path), error);
}

}  // namespace vantry
