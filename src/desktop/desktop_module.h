// The edge between the program and its window. The window is a module of its own, so that a machine without a display
// needs no library for one: the program loads it where it is installed and a display answers.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"
#include "core/program_log.h"
#include "core/regional.h"
#include "core/sinks.h"
#include "core/tables.h"
#include "notify/mail_queue.h"
#include "ports/clock.h"
#include "ports/files.h"
#include "ports/ftp.h"
#include "ports/key_store.h"
#include "ports/line_client.h"
#include "ports/mail.h"
#include "ports/notices.h"
#include "ports/ping.h"
#include "ports/programs.h"
#include "ports/resolver.h"
#include "ports/service_installer.h"
#include "ports/trace_route.h"
#include "ports/who_is.h"
#include "views/history_tables.h"

namespace vantry {

// What the window asks of the engine.
class WindowCommands {
 public:
  virtual ~WindowCommands() = default;
  // Sets the hidden flags of all lists for CurrentView, CurrentViewType and the sites' filters, and tells the window.
  virtual void RefreshView() = 0;
  // Writes what the settings file keeps. False when it can't, which is in the program log.
  virtual bool SaveSettings() = 0;
  // Writes the site file.
  virtual void SaveSites() = 0;
  // Tries the SQL server of the settings, as the check does. `told` is called from the loop.
  virtual void TrySqlLogon(std::function<void(bool ok, const std::string& text)> told) = 0;
  // Settings or sites were edited: what was made of them is made anew, and the monitors that they want run.
  virtual void SettingsChanged() = 0;
  // Sends a mail with the server and addresses of these settings. `line` is called from the loop for each line of the
  // dialogue, `done` once, with what went wrong, if anything did. There is one at a time: the one before is left.
  virtual void SendTestMail(const Settings& settings, MailLine line,
                            std::function<void(const std::string& problem)> done) = 0;
  // Leaves the test that is under way, if there is one: neither of the two is called any more.
  virtual void LeaveTestMail() = 0;
  // This visitor's lines of its log as a file; its path, empty when there are none. `key` as VisitorRec::Key gives it.
  virtual std::string ExtractLogEntries(std::string_view key) = 0;
  // What the history knows of an address: its host name and its friendly name, empty when there is none.
  virtual std::string LookupDNS(std::string_view ip) = 0;
  virtual std::string GetFriendlyName(std::string_view ip) = 0;
  // Stores a friendly name for the address on the site of this name.
  virtual void ChangeFriendlyName(std::string_view ip, std::string_view site, std::string_view name) = 0;
  // Ends the program.
  virtual void CloseProgram() = 0;
};

// What the window is given at its load. All of it outlives the window.
struct WindowParts {
  LiveTables& t;
  Settings& settings;
  const Regional& regional;
  KeyStore& registry;
  ProgramLog& log;
  Clock& clock;
  Files& files;
  Programs& programs;
  MailQueue& mail;
  Ftp& ftp;
  Ping& ping;
  TraceRoute& route;
  WhoIs& who_is;
  std::function<std::unique_ptr<ServiceInstaller>()> installer;
  std::function<std::unique_ptr<LineClient>()> line_client;  // A connection for whoever needs one of his own.
  std::function<std::unique_ptr<Resolver>()> resolver;       // Likewise, for host names.
  WindowCommands& engine;
  ProgramHistory& history;
  std::string app_path;  // With "/" at its end.
  std::string importer;  // Finds the sites of web servers; empty if there is none.
  std::string version, build;
};

// The window as the program sees it. Making one makes the application object of the window system, too; calls of View
// before Load do nothing.
class Desktop : public View {
 public:
  // Makes the window and shows it, or leaves it in the tray.
  virtual void Load(const WindowParts& parts) = 0;
  // Saves place, size and layout. The window stays until the program ends, and takes no more commands.
  virtual void Unload() = 0;
  // The window can't be touched any more: all further calls do nothing.
  virtual void DisplayIsGone() = 0;
  // A message for whoever sits there. Waits for no answer once the window is loaded; before that it waits, as the
  // program is about to end.
  virtual void ShowMessage(BoxKind kind, std::string_view text) = 0;
  virtual void Beep() = 0;
};

struct DesktopModule {
  const char* build;  // Of the sources it was made from: the records above have no other version.
  // Null when no display answers. `problem` says why, or what is wrong with the window that there is.
  std::unique_ptr<Desktop> (*make)(int& argc, char** argv, std::string& problem);
};

// The name under which the module exports a function that returns its DesktopModule.
inline constexpr char kDesktopEntry[] = "vantry_desktop_module";
using DesktopEntry = const DesktopModule* (*)();

}  // namespace vantry
