// Text of logs and files as a window shows it: bytes become characters, and nothing in them plays with the window.
#pragma once

#include <QLabel>
#include <QString>
#include <string_view>

#include "core/shown_bytes.h"

namespace vantry {

// As ShownBytes. Show the result as plain text alone.
QString ShownText(std::string_view bytes);
// The same for a message of several lines, whose line ends stay.
QString ShownLines(std::string_view bytes);

// A label that takes nothing for rich text: much of what is shown comes from logs.
QLabel* PlainLabel(const char* name, const QString& text, QWidget* parent);

}  // namespace vantry
