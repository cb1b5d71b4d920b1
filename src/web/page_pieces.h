// Pages that can be long: written part by part while the client reads, so that one is never whole in memory and others
// are answered in between. Visitors may come and go between two pieces.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ports/listener.h"
#include "web/page_context.h"
#include "web/page_text.h"

namespace vantry {

class PagePieces {
 public:
  // A piece ends when it has this size.
  static constexpr size_t kPieceBytes = 128 * 1024;

  // Writes some of its part of the page. True if it needs another turn; by then a piece may have been sent, and tables
  // may have changed.
  using Part = std::function<bool(PageText& page)>;

  // The context outlives the page. A failure is reported under `name` and ends the page.
  PagePieces(const PageContext& c, const char* name) : c_(c), name_(name), text_(NewPage(c)) {}

  PagePieces(const PagePieces&) = delete;
  PagePieces& operator=(const PagePieces&) = delete;

  // For what is known at the start, such as who asks.
  PageText& Text() { return text_; }
  void Add(Part part) { parts_.push_back(std::move(part)); }
  // A part that may fail, which ends the page; `again` is what a Part returns.
  void AddTurns(std::function<Status(PageText& page, bool& again)> part);
  // The same of one turn.
  void AddOnce(std::function<Status(PageText& page)> part);

  // As a PieceSource.
  bool Next(std::string& out);

 private:
  static constexpr int kTurnsAPiece = 16;

  const PageContext& c_;
  const char* name_;
  PageText text_;
  std::vector<Part> parts_;
  size_t place_ = 0;
  Status failure_;
};

using PagePiecesPtr = std::shared_ptr<PagePieces>;
PieceSource SourceOf(PagePiecesPtr page);
PieceSource OnePiece(std::string text);
// About `expected_bytes` long, or longer if that is 0.
std::string WholeText(const PieceSource& source, size_t expected_bytes = 0);

// The visitors of one site in a page. Shows those who are still there when it gets to them, but nobody who
// came after its table had begun.
class SiteVisitors {
 public:
  SiteVisitors(LiveTables& t, int16_t site) : t_(t), site_(site) {}

  // Calls `row` for the next visitors, until a piece is full. False when there are no more.
  bool Some(PageText& page, const std::function<void(const VisitorRec&)>& row);
  // How many there are: the site's count, or those who were shown when somebody left meanwhile.
  int32_t Count() const { return t_.Visitors.Removed() == removed_ ? count_ : shown_; }

 private:
  static constexpr int kStepsATurn = 2000;

  LiveTables& t_;
  int16_t site_;
  std::shared_ptr<VisitorTable::Walk> walk_;
  uint64_t removed_ = 0;
  int32_t count_ = 0, shown_ = 0;
};

}  // namespace vantry
