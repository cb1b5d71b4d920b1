// What is searched for in a list.
#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace vantry {

// A search text that fits in any case. Without letters beyond ASCII it is sought in the bytes of a text as they are.
class Needle {
 public:
  Needle() = default;
  explicit Needle(const QString& text);

  bool empty() const { return text_.isEmpty(); }
  const QString& Text() const { return text_; }
  bool In(std::string_view bytes) const;

 private:
  QString text_;
  std::string folded_;  // The same in small letters; empty when there are others than ASCII.
};

}  // namespace vantry
