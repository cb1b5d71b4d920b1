// Every command of the window, in one table: menus, tool bar, context menus, shortcuts, help and tests walk it.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace vantry {

// What a command needs to be of use.
enum class Needs : uint8_t {
  kNothing,
  kSite,      // A site chosen in the tree.
  kPaused,    // One that is paused.
  kRunning,   // One that is not.
  kRow,       // A chosen row of visitors, alerts or spiders.
  kReferrer,  // One whose referrer is an address.
  kName,      // One with a resolved name.
  kPage,      // One with a page.
  kDesktop,   // Not in service mode.
  kService,   // Service mode alone.
  kWizard,    // A program of that name in the program's folder.
};

struct Command {
  std::string_view name;     // Its object name.
  std::string_view caption;  // With "&" before the letter that chooses it.
  Needs needs = Needs::kNothing;
  bool checkable = false;
  std::string_view shortcut = {};
  std::string_view tip = {};  // What it does, in a few words.
};

extern const std::span<const Command> kCommands;

// Null if there is none of this name.
const Command* FindCommand(std::string_view name);

// A menu, or the tool bar, as the names of its commands; "-" is a separator, and a menu's name opens that menu.
struct CommandList {
  std::string_view name;
  std::string_view caption;
  std::span<const std::string_view> items;
};

extern const std::span<const CommandList> kMenus;         // Of the menu bar.
extern const std::span<const CommandList> kContextMenus;  // Popup, TreePopup, SvcPopup, SettingsPopup.
extern const CommandList kToolBar;

}  // namespace vantry
