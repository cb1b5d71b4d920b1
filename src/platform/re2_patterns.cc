#include "platform/re2_patterns.h"

#ifdef VANTRY_HAS_RE2

#include <algorithm>
#include <array>

#include <re2/re2.h>

namespace vantry {
namespace {

constexpr size_t kMostGroups = 9;

class Re2Pattern final : public Pattern {
 public:
  explicit Re2Pattern(const std::string& expression) : regex_(expression, Options()) {}
  bool Ok() const { return regex_.ok(); }

  bool Find(std::string_view text, std::span<std::string_view> groups) const override {
    std::array<re2::StringPiece, kMostGroups + 1> found;  // The first is the whole match.
    const size_t known = std::min(groups.size(), static_cast<size_t>(regex_.NumberOfCapturingGroups()));
    const size_t wanted = std::min(known, kMostGroups);
    const re2::StringPiece piece(text.data(), text.size());
    if (!regex_.Match(piece, 0, text.size(), RE2::UNANCHORED, found.data(), static_cast<int>(wanted) + 1)) return false;
    std::fill(groups.begin(), groups.end(), std::string_view());
    for (size_t i = 0; i < wanted; ++i) groups[i] = {found[i + 1].data(), found[i + 1].size()};
    return true;
  }

 private:
  static RE2::Options Options() {
    RE2::Options options;
    options.set_encoding(RE2::Options::EncodingLatin1);  // Any bytes are text then.
    options.set_log_errors(false);
    return options;
  }

  RE2 regex_;
};

}  // namespace

std::string Re2Patterns::Problem() const {
  return {};
}

std::unique_ptr<Pattern> Re2Patterns::Compile(const std::string& expression) {
  auto pattern = std::make_unique<Re2Pattern>(expression);
  return pattern->Ok() ? std::move(pattern) : nullptr;
}

}  // namespace vantry

#else

namespace vantry {

std::string Re2Patterns::Problem() const {
  return "this program was built without RE2 (Debian package libre2-dev)";
}

std::unique_ptr<Pattern> Re2Patterns::Compile(const std::string&) {
  return nullptr;
}

}  // namespace vantry

#endif
