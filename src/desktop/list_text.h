// Texts and colours that lists are shown and handed out with.
#pragma once

#include <QColor>
#include <QString>
#include <Qt>
#include <optional>
#include <string>
#include <string_view>

#include "core/look.h"

namespace vantry {

Qt::Alignment SideOf(Align align);

// The colour of a row, red in the lowest byte; empty for none.
std::optional<QColor> BackColour(uint32_t colour);
// Black or white, whichever stands out more: 4.5 to 1 at least on any colour.
QColor ReadableOn(const QColor& back);
// How much two colours stand out from each other, 1 to 21.
double Contrast(const QColor& a, const QColor& b);

// A tooltip that shows this text as it is, broken into lines: tooltips guess whether a text has markup. Of a long text
// the beginning.
QString PlainTip(QString text);

}  // namespace vantry
