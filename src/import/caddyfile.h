// Reads a Caddyfile with all that it imports.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "import/config_reader.h"

namespace vantry {

// A line with the block that it opens, if it does.
struct CaddyLine {
  std::vector<std::string> words;  // Without quotes, and without the "{" at the end.
  ConfigPlace at;
  bool has_block = false;
  std::vector<CaddyLine> inner = {};
};

class CaddyfileReader {
 public:
  static constexpr int kMostNested = 16;
  static constexpr size_t kMostLines = 200'000;

  explicit CaddyfileReader(ConfigReader& reader) : reader_(reader) {}

  // The lines of the file; snippets and what is imported stand in their places. Returns whether the file is there.
  bool Read(const std::string& path, std::vector<CaddyLine>& lines);

 private:
  struct Word {
    std::string text;
    int line = 0;
    bool quoted = false;
  };
  static std::vector<Word> Cut(std::string_view bytes);

  void File(const std::string& path, const std::string& bytes, std::vector<CaddyLine>& lines);
  void Block(const std::string& path, const std::vector<Word>& words, size_t& next, std::vector<CaddyLine>& lines);
  void Add(CaddyLine line, std::vector<CaddyLine>& lines);
  void Import(const CaddyLine& line, std::vector<CaddyLine>& lines);

  ConfigReader& reader_;
  std::map<std::string, std::vector<CaddyLine>> snippets_;
  int nested_ = 0;
  size_t lines_ = 0;
};

}  // namespace vantry
