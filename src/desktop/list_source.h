// The rows behind a list of the window: the engine's records, named by numbers that stay while rows come and go.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/lists.h"
#include "core/tables.h"

namespace vantry {

enum class ListKind { kVisitors, kAlerts, kSpiders, kExceptions, kPages, kTrace };

// What the commands on a row need of it. All texts as the log had them.
struct SelectedRow {
  int16_t site = 0;
  std::string key, address;    // Of the visitor, as VisitorRec::Key and IP.
  std::string name;            // What column DNS shows.
  std::string page, referrer;  // The page with its query, as column Page shows it.
  bool is_named = false;       // There is a host name: `dns` is more than the address.
  std::string dns;             // The host name, or the address.
  int64_t visit = 0;           // The how-many-th visit of the address to the site.
};

// A row's number is its place in the order of arrival; no two rows of a list ever have the same one. A number may be
// asked for at any time: a row that is gone has empty texts.
class RowSource {
 public:
  virtual ~RowSource() = default;
  // Another number whenever rows may have come, gone or changed, or the view hides others.
  virtual uint64_t Changes() const = 0;
  // Appends the numbers of the rows that the current view shows, in order.
  virtual void Collect(std::vector<uint64_t>& rows) const = 0;

  virtual size_t Columns() const = 0;
  virtual std::string_view Heading(size_t column) const = 0;
  virtual int Width(size_t column) const = 0;  // In characters.
  virtual Align Side(size_t column) const = 0;
  virtual bool SortsAsNumber(size_t column) const = 0;
  virtual size_t SiteColumn() const = 0;  // Beyond the last one: there is none.

  virtual std::string Text(uint64_t row, size_t column) const = 0;
  virtual int64_t Number(uint64_t row, size_t column) const = 0;  // Where SortsAsNumber.
  virtual int16_t Icon(uint64_t row, size_t column) const = 0;
  virtual uint32_t Colour(uint64_t row) const = 0;  // kColourDefault: none.
  // Empty where there is nothing to tell.
  virtual std::string Tip(uint64_t row) const = 0;
  // False where the row is gone, or is not a visitor's.
  virtual bool Describe(uint64_t, SelectedRow&) const { return false; }
  // Tells the engine that the window has taken over what changed in the row.
  virtual void Taken(uint64_t) const {}
  // For the list of pages: whose they are, as VisitorRec::Key.
  virtual void ShowPagesOf(const std::string&) {}
};

std::unique_ptr<RowSource> MakeRowSource(LiveTables& t, const Regional& regional, ListKind kind);

}  // namespace vantry
