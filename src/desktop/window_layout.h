// vtpro2.tb: where the bands of the window are, and the columns of its lists, as text that later versions can read.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace vantry {

struct WindowLayout {
  std::string bands;                                                // As QMainWindow::saveState gives it.
  std::map<std::string, std::map<std::string, std::string>> lists;  // By the list's name: its columns.
};

// Its name in the data folder.
inline constexpr char kLayoutFile[] = "vtpro2.tb";

// The version of `bands`: raised when bands get other names.
inline constexpr int kLayoutVersion = 1;

std::string FormatLayout(const WindowLayout& layout);

// What can be read of it. Bands of another version are left out.
WindowLayout ParseLayout(std::string_view bytes);

}  // namespace vantry
