// The icons: one family, drawn for this program on a grid of 16 by 16. Lines take the colour of the palette's text when
// they are painted, so an icon follows a change of the palette by itself; accents are readable on light and dark.
#pragma once

#include <QIcon>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <string_view>

namespace vantry {

// The icon of a slot of core/look.h; empty for a slot that has none.
QIcon SlotIcon(int16_t slot);
// The icon of a command by its name, such as "miAdd"; empty for a command that has none. The header of a view shows the
// icon of the command that chooses the view; "miTree" is the one of the site list.
QIcon CommandIcon(std::string_view name);
// For the window and the tray. Its colours are its own: a panel may be light or dark, whatever the palette is.
QIcon ProgramIcon();

// For tests: the names of all drawings, those that the tables name, and one of them as an icon.
QStringList IconDrawings();
QStringList UsedIconDrawings();
QIcon DrawnIcon(const QString& drawing);

}  // namespace vantry
