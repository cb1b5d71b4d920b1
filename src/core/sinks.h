// The small interfaces through which lower folders reach the ones above them: who raises exceptions, who shows
// things, who listens to visitor events. `app/` hands the bodies down.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/date_time.h"

namespace vantry {

struct VisitorRec;

// Raises numbered exceptions.
class ExceptionSink {
 public:
  virtual ~ExceptionSink() = default;
  // `site` 0 means no site; a zero `when` means now; a missing `value` means the type's own threshold; `visit_number` 0
  // means none. Returns whether the exception was raised: its type exists and is on.
  virtual bool AddException(int16_t site, int number, LogTime when, std::optional<std::string_view> value,
                            std::string_view address, int32_t visit_number) = 0;
  // Tests the conditions on a site as a whole; called after each scan.
  virtual void CheckExceptions(int16_t site) = 0;
  // Counts and lists one that an earlier run of the program has raised today.
  virtual void CountStored(int16_t /*site*/, int /*number*/, LogTime /*when*/, std::string_view /*value*/,
                           std::string_view /*address*/) {}
};

// Whatever shows the live picture. Without a window nobody looks, and the calls cost nothing.
class View {
 public:
  virtual ~View() = default;
  virtual void SetStatus(std::string_view text) = 0;      // Text of the status line.
  virtual void SetDnsStatus(std::string_view text) = 0;   // Item of the status line; an empty text hides it.
  virtual void SetMailStatus(std::string_view text) = 0;  // The same for mail that waits.
  virtual void ShowSqlError(bool shown) = 0;              // Item of the status line: the SQL server fails.
  virtual void UpdateStatus() = 0;                        // Refresh the summary line.
  virtual void RefreshSiteNode(int16_t site) = 0;         // Refresh one node of the site tree.
  virtual void SetSiteImage(int16_t site, int16_t icon) = 0;
  virtual void ShowCurrentView() = 0;  // The hidden flags of the grids have changed.
  virtual void SetTrayTip(std::string_view text) = 0;
  virtual void SetCaption(std::string_view text) = 0;
  virtual void Show() = 0;  // Show the window, remove the tray icon.
  virtual void Hide() = 0;  // Hide the window, set the tray icon.
};

// Outside listeners to visitors coming, moving and going. Called only while LiveTables::InterfaceCount is above 0.
class VisitorEvents {
 public:
  virtual ~VisitorEvents() = default;
  virtual void VisitorArrived(const std::string& domain, const VisitorRec& visitor, std::string_view page) = 0;
  virtual void VisitorPageMove(const std::string& domain, const VisitorRec& visitor) = 0;
  virtual void VisitorLeft(const std::string& domain, const VisitorRec& visitor) = 0;
  virtual void DNSResolved(std::string_view address, std::string_view name) = 0;
};

// Is told what happens on the sites as it happens, replays and first readings included. The program works the same
// without one.
class LiveEvents {
 public:
  virtual ~LiveEvents() = default;
  virtual void Came(const VisitorRec& visitor) = 0;     // With the first page.
  virtual void Changed(const VisitorRec& visitor) = 0;  // Another page, a name, silence.
  virtual void Left(const VisitorRec& visitor) = 0;     // Just before.
  // The newest row of the day's list has just been added.
  virtual void AlertRaised() = 0;
  // `address` is what it was raised with: a visitor's address, a host name, or nothing.
  virtual void ExceptionRaised(std::string_view address) = 0;
};

}  // namespace vantry
