#include "import/nginx_words.h"

namespace vantry {
namespace {

bool IsBlankChar(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

char Unescaped(char c) {
  switch (c) {
    case 't':
      return '\t';
    case 'r':
      return '\r';
    case 'n':
      return '\n';
    default:
      return c;
  }
}

}  // namespace

char NginxWords::Take() {
  const char c = rest_.front();
  rest_.remove_prefix(1);
  if (c == '\n') ++line_;
  return c;
}

// Returns whether something follows.
bool NginxWords::SkipBlanks() {
  while (!rest_.empty()) {
    if (rest_.front() == '#') {
      while (!rest_.empty() && rest_.front() != '\n') Take();
    } else if (IsBlankChar(rest_.front())) {
      Take();
    } else {
      return true;
    }
  }
  return false;
}

std::string NginxWords::Quoted() {
  const char quote = Take();
  std::string word;
  while (!rest_.empty()) {
    const char c = Take();
    if (c == quote) break;
    // Any other backslash stands for itself.
    if (c == '\\' && !rest_.empty() && std::string_view("\"'\\trn").find(rest_.front()) != std::string_view::npos) {
      word += Unescaped(Take());
    } else {
      word += c;
    }
  }
  return word;
}

std::string NginxWords::Plain() {
  std::string word;
  while (!rest_.empty()) {
    const char c = rest_.front();
    // "${name}" is part of a word.
    const bool variable = c == '{' && word.ends_with('$');
    if (variable) {
      while (!rest_.empty() && rest_.front() != '}' && !IsBlankChar(rest_.front())) word += Take();
      continue;
    }
    if (IsBlankChar(c) || c == ';' || c == '{') break;
    word += Take();
    if (c == '\\' && !rest_.empty()) word += Take();
  }
  return word;
}

NginxDirective NginxWords::Next() {
  NginxDirective directive;
  directive.line = line_;
  while (SkipBlanks()) {
    if (directive.words.empty()) directive.line = line_;
    const char c = rest_.front();
    if (c == ';' || c == '{' || (c == '}' && directive.words.empty())) {
      Take();
      directive.end = c == ';'   ? NginxDirective::End::kPlain
                      : c == '{' ? NginxDirective::End::kBlock
                                 : NginxDirective::End::kClose;
      return directive;
    }
    directive.words.push_back(c == '"' || c == '\'' ? Quoted() : Plain());
  }
  return directive;
}

void NginxWords::SkipProgram() {
  for (int depth = 1; depth > 0 && !rest_.empty();) {
    const char c = Take();
    depth += c == '{' ? 1 : c == '}' ? -1 : 0;
  }
}

}  // namespace vantry
