#include "web/page_pieces.h"

namespace vantry {

void PagePieces::AddTurns(std::function<Status(PageText&, bool&)> part) {
  Add([this, part = std::move(part)](PageText& text) {
    bool again = false;
    failure_ = part(text, again);
    return again;
  });
}

void PagePieces::AddOnce(std::function<Status(PageText&)> part) {
  AddTurns([part = std::move(part)](PageText& text, bool&) { return part(text); });
}

bool PagePieces::Next(std::string& out) {
  bool more = false;
  // The caller's memory serves all pieces, if it is asked for them with an empty text.
  if (out.empty() && text_.Text().empty()) text_.Swap(out);
  c_.log.Guard(name_, [&] {
    for (int turns = 0; place_ < parts_.size() && turns < kTurnsAPiece && text_.Text().size() < kPieceBytes; ++turns) {
      const bool again = parts_[place_](text_);
      if (!failure_.ok()) return failure_;
      if (again) break;  // It has used up its time.
      parts_[place_++] = nullptr;
    }
    more = place_ < parts_.size();
    return Status::Ok();
  });
  if (out.empty()) {
    text_.Swap(out);
  } else {
    out += text_.Take();
  }
  return more;
}

PieceSource SourceOf(PagePiecesPtr page) {
  return [page = std::move(page)](std::string& out) { return page->Next(out); };
}

PieceSource OnePiece(std::string text) {
  return [text = std::move(text)](std::string& out) {
    out += text;
    return false;
  };
}

std::string WholeText(const PieceSource& source, size_t expected_bytes) {
  std::string piece, text;
  bool more = source(piece);
  if (!more) return piece;  // As most pages are.
  text.reserve(expected_bytes);
  text += piece;
  while (more) {
    piece.clear();
    more = source(piece);
    text += piece;
  }
  return text;
}

bool SiteVisitors::Some(PageText& page, const std::function<void(const VisitorRec&)>& row) {
  if (!walk_) {
    walk_ = t_.Visitors.NewWalk();
    removed_ = t_.Visitors.Removed();
    count_ = t_.Site(site_).CurrentVisitors;
  }
  for (int steps = 0; steps < kStepsATurn && !walk_->Done() && page.Text().size() < PagePieces::kPieceBytes; ++steps) {
    const VisitorRec* v = t_.Visitors.Step(*walk_);
    if (!v || v->Site != site_) continue;
    row(*v);
    ++shown_;
  }
  return !walk_->Done();
}

}  // namespace vantry
