#include "import/config_reader.h"

#include <algorithm>

namespace vantry {
namespace {

// Whoever wrote a thousand bad lines does not need a thousand messages.
constexpr size_t kMostProblems = 100;

}  // namespace

void ConfigReader::Problem(const ConfigPlace& at, const std::string& text) {
  if (problems_.size() < kMostProblems) problems_.push_back(at.Text() + ": " + text);
}

void ConfigReader::Include(const ConfigPlace& from, const std::string& pattern, bool optional, const ReadFile& read) {
  if (open_.size() >= kMostDepth) {
    Problem(from, "includes " + pattern + ", " + std::to_string(open_.size()) + " files deep; it is left out");
    return;
  }
  const bool wild = pattern.find_first_of("*?[") != std::string::npos;
  for (const std::string& path : PathsOf(tree_, pattern, kMostFiles)) {
    if (full_) return;
    if (!(wild && tree_.IsFolder(path))) ReadOne(from, path, optional || wild, read);
  }
}

bool ConfigReader::Begin(const std::string& path, const ReadFile& read) {
  const size_t before = files_;
  ReadOne({path, 0}, path, true, read);
  return files_ > before;
}

void ConfigReader::ReadOne(const ConfigPlace& from, const std::string& path, bool optional, const ReadFile& read) {
  if (files_ >= kMostFiles || bytes_ >= kMostBytes) {
    full_ = true;
    Problem(from, "the configuration has more than " + std::to_string(files_) + " files or " + std::to_string(bytes_) +
                      " bytes; the rest is left out");
    return;
  }
  if (std::find(open_.begin(), open_.end(), path) != open_.end()) {
    Problem(from, "includes " + path + ", which includes it; it is left out");
    return;
  }
  std::string bytes;
  const Status status = tree_.Read(path, kMostFileBytes, bytes);
  if (status.fail == Fail::kNotFound && optional) return;
  if (!status.ok()) {
    Problem(from, status.text);
    return;
  }
  ++files_;
  bytes_ += bytes.size();
  open_.push_back(path);
  read(path, bytes);
  open_.pop_back();
}

}  // namespace vantry
