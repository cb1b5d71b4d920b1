#include "import/caddyfile.h"

#include <algorithm>
#include <utility>

#include "core/text.h"

namespace vantry {
namespace {

bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// "{args[0]}" and the older "{args.0}".
void PutArguments(const std::vector<std::string>& arguments, std::string& word) {
  for (size_t i = 0; i < arguments.size() && Contains(word, "{args"); ++i) {
    const std::string number = std::to_string(i);
    word = ReplaceAll(ReplaceAll(word, "{args[" + number + "]}", arguments[i]), "{args." + number + "}", arguments[i]);
  }
}

void PutArguments(const std::vector<std::string>& arguments, CaddyLine& line) {
  for (std::string& word : line.words) PutArguments(arguments, word);
  for (CaddyLine& inner : line.inner) PutArguments(arguments, inner);
}

size_t CountLines(const CaddyLine& line) {
  size_t count = 1;
  for (const CaddyLine& inner : line.inner) count += CountLines(inner);
  return count;
}

// Takes a quoted word whose opening quote is at the front.
std::string TakeQuoted(std::string_view& rest, int& line) {
  const char quote = rest.front();
  rest.remove_prefix(1);
  std::string text;
  while (!rest.empty() && rest.front() != quote) {
    const bool escape = quote == '"' && rest.size() > 1 && rest[0] == '\\' && (rest[1] == '"' || rest[1] == '\\');
    if (escape) rest.remove_prefix(1);
    if (rest.front() == '\n') ++line;
    text += rest.front();
    rest.remove_prefix(1);
  }
  if (!rest.empty()) rest.remove_prefix(1);
  return text;
}

}  // namespace

std::vector<CaddyfileReader::Word> CaddyfileReader::Cut(std::string_view rest) {
  std::vector<Word> words;
  int line = 1, joined = 0;  // A line that ends with a backslash goes on in the next one.
  while (!rest.empty()) {
    const char c = rest.front();
    if (c == '\\' && (StartsWith(rest, "\\\n") || StartsWith(rest, "\\\r\n"))) {
      rest.remove_prefix(rest.find('\n') + 1);
      ++joined;
    } else if (IsSpace(c)) {
      if (c == '\n') {
        line += 1 + joined;
        joined = 0;
      }
      rest.remove_prefix(1);
    } else if (c == '#') {
      rest.remove_prefix(std::min(rest.find('\n'), rest.size()));
    } else if (c == '"' || c == '`') {
      const int first = line;
      std::string text = TakeQuoted(rest, line);
      // What follows on the line where the quote ends belongs to the line where it began.
      joined += line - first;
      line = first;
      words.push_back({std::move(text), first, true});
    } else {
      size_t end = 0;
      while (end < rest.size() && !IsSpace(rest[end])) ++end;
      words.push_back({std::string(rest.substr(0, end)), line, false});
      rest.remove_prefix(end);
    }
  }
  return words;
}

bool CaddyfileReader::Read(const std::string& path, std::vector<CaddyLine>& lines) {
  return reader_.Begin(path, [&](const std::string& file, const std::string& bytes) { File(file, bytes, lines); });
}

void CaddyfileReader::File(const std::string& path, const std::string& bytes, std::vector<CaddyLine>& lines) {
  const std::vector<Word> words = Cut(bytes);
  size_t next = 0;
  while (next < words.size()) {
    Block(path, words, next, lines);
    ++next;  // A "}" that closes nothing.
  }
}

// The lines up to the "}" that closes the block, at which `next` stands afterwards.
void CaddyfileReader::Block(const std::string& path, const std::vector<Word>& words, size_t& next,
                            std::vector<CaddyLine>& lines) {
  while (next < words.size() && (words[next].quoted || words[next].text != "}")) {
    CaddyLine line{.words = {}, .at = {path, words[next].line}};
    for (; next < words.size() && words[next].line == line.at.line; ++next) {
      const Word& word = words[next];
      if (!word.quoted && word.text == "}" && !line.words.empty()) break;
      line.has_block = !word.quoted && word.text == "{";
      if (line.has_block) break;
      line.words.push_back(word.text);
    }
    // Addresses go on in the next line after a comma.
    while (!line.has_block && next < words.size() && !line.words.empty() && line.words.back().ends_with(',')) {
      line.has_block = !words[next].quoted && words[next].text == "{";
      if (line.has_block) break;
      line.words.push_back(words[next++].text);
      if (next < words.size() && !words[next].quoted && words[next].text == "{") line.has_block = true;
    }
    if (line.has_block) {
      ++next;
      // A block that is too deep is read, to find its end, and dropped.
      std::vector<CaddyLine> dropped;
      ++nested_;
      if (nested_ > 4 * kMostNested) {
        reader_.Problem(line.at, "blocks stand too deep; the rest of the file is left out");
        next = words.size();
      } else {
        Block(path, words, next, nested_ > kMostNested ? dropped : line.inner);
      }
      --nested_;
      if (next < words.size()) ++next;
    }
    Add(std::move(line), lines);
  }
}

void CaddyfileReader::Add(CaddyLine line, std::vector<CaddyLine>& lines) {
  const bool snippet = line.words.size() == 1 && line.has_block && line.words[0].size() > 2 &&
                       line.words[0].front() == '(' && line.words[0].back() == ')';
  if (snippet) {
    snippets_[line.words[0].substr(1, line.words[0].size() - 2)] = std::move(line.inner);
  } else if (line.words.size() > 1 && line.words[0] == "import") {
    Import(line, lines);
  } else if (++lines_ <= kMostLines) {
    lines.push_back(std::move(line));
  }
}

void CaddyfileReader::Import(const CaddyLine& line, std::vector<CaddyLine>& lines) {
  const auto snippet = snippets_.find(line.words[1]);
  if (snippet == snippets_.end()) {
    reader_.Include(line.at, PathFrom(FolderOfPath(line.at.file), line.words[1]), false,
                    [&](const std::string& path, const std::string& bytes) { File(path, bytes, lines); });
    return;
  }
  const std::vector<std::string> arguments(line.words.begin() + 2, line.words.end());
  for (CaddyLine copy : snippet->second) {
    // Snippets of snippets could make a small file a very large one.
    lines_ += CountLines(copy);
    if (lines_ > kMostLines) {
      reader_.Problem(line.at, "the configuration has more than " + std::to_string(kMostLines) + " lines");
      return;
    }
    PutArguments(arguments, copy);
    lines.push_back(std::move(copy));
  }
}

}  // namespace vantry
