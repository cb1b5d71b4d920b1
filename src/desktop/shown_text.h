// Text of logs and files as a window shows it: bytes become characters, and nothing in them plays with the window.
#pragma once

#include <QLabel>
#include <QString>
#include <string_view>

namespace vantry {

// At most this many bytes of a text are shown: a hostile log has pages of megabytes.
inline constexpr size_t kMostShownBytes = 10'000;

// The bytes as UTF-8 if they are that, else as Windows-1252. Control characters, line ends included, and characters
// that turn the direction of the text around them are shown as U+FFFD. Show the result as plain text alone.
QString ShownText(std::string_view bytes);
// The same for a message of several lines, whose line ends stay.
QString ShownLines(std::string_view bytes);

// A label that takes nothing for rich text: much of what is shown comes from logs.
QLabel* PlainLabel(const char* name, const QString& text, QWidget* parent);

}  // namespace vantry
