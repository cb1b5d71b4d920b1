// What the visitors on line have in common: the pages that are being read, where they came from, their countries.
#include <algorithm>
#include <cstring>
#include <memory>
#include <memory_resource>
#include <utility>
#include <vector>

#include "core/hash_index.h"
#include "core/shown_bytes.h"
#include "live/list_query.h"
#include "live/list_reply.h"
#include "live/live_rows.h"
#include "live/resources.h"

namespace vantry {
namespace {

// What visitors are counted by.
struct Subject {
  std::string_view (*name)(const VisitorRec& v);
  std::string_view (*more)(const VisitorRec& v);  // Null: nothing.
  bool by_site;
  void (*write)(const struct Counted& entry, JsonWriter& json);
};

struct Counted {
  std::string_view name, more;
  LogTime newest;
  uint64_t hash = 0;
  int32_t visitors = 0;
  int16_t site = 0;

  std::string_view Beginning() const { return name.substr(0, 64); }
};

// The order of the list: most visitors first, then by name. The hash tells long names apart.
bool ComesBefore(const Counted& a, const Counted& b) {
  if (a.visitors != b.visitors) return a.visitors > b.visitors;
  if (a.Beginning() != b.Beginning()) return a.Beginning() < b.Beginning();
  return a.hash < b.hash;
}

// Counts in three passes, each in steps: through the visitors, into a heap, and out of it in the order of the list. All
// names lie in a few blocks of memory, which are given back at once.
class CountedRows final : public ListRows {
 public:
  CountedRows(const LiveTables& t, const Subject& subject, ListQuery query, std::optional<Counted> after,
              std::string after_name)
      : t_(t),
        subject_(subject),
        query_(std::move(query)),
        after_name_(std::move(after_name)),
        after_(after),
        left_(query_.limit) {
    if (after_) after_->name = after_name_;
  }

  bool Step(JsonWriter& json) override {
    if (!walk_) Begin();
    if (!walk_->Done()) {
      CountNext();
      return true;
    }
    if (heaped_ < entries_.size()) {
      Heap(static_cast<uint32_t>(heaped_++));
      return true;
    }
    return WriteNext(json);
  }
  std::string Next() const override { return next_; }

 private:
  void Begin() {
    walk_ = t_.Visitors.NewWalk();
    entries_.reserve(static_cast<size_t>(t_.Visitors.Count()));
  }

  void CountNext() {
    const VisitorRec* v = t_.Visitors.Step(*walk_);
    if (!v || !query_.Fits(*v)) return;
    const std::string_view name = CutToShown(subject_.name(*v));
    if (name.empty()) return;
    const int16_t site = subject_.by_site ? v->Site : int16_t{0};
    Counted& entry = Entry(name, site, *v);
    ++entry.visitors;
    entry.newest = std::max(entry.newest, v->LastPageTime);
  }

  Counted& Entry(std::string_view name, int16_t site, const VisitorRec& v) {
    const uint64_t hash = SpreadHash(name, static_cast<uint16_t>(site));
    Counted* found = nullptr;
    index_.ForEach(hash, [&](uint32_t place) {
      Counted& entry = entries_[place - 1];
      if (entry.hash == hash && entry.site == site && entry.name == name) found = &entry;
    });
    if (found) return *found;
    const std::string_view more = subject_.more ? CutToShown(subject_.more(v)) : std::string_view();
    entries_.push_back({Kept(name), Kept(more), {}, hash, 0, site});
    index_.Add(hash, static_cast<uint32_t>(entries_.size()));
    return entries_.back();
  }

  std::string_view Kept(std::string_view text) {
    if (text.empty()) return {};
    char* const bytes = static_cast<char*>(names_.allocate(text.size(), 1));
    std::memcpy(bytes, text.data(), text.size());
    return {bytes, text.size()};
  }

  // The heap's top is the one that comes first.
  auto Below() const {
    return [this](uint32_t a, uint32_t b) { return ComesBefore(entries_[b], entries_[a]); };
  }

  void Heap(uint32_t place) {
    if (heap_.capacity() == 0) heap_.reserve(entries_.size());
    if (after_ && !ComesBefore(*after_, entries_[place])) return;
    heap_.push_back(place);
    std::push_heap(heap_.begin(), heap_.end(), Below());
  }

  bool WriteNext(JsonWriter& json) {
    if (heap_.empty()) return false;
    if (left_ == 0) {
      next_ = MakeCursor(t_, Place(entries_[last_]));
      return false;
    }
    --left_;
    std::pop_heap(heap_.begin(), heap_.end(), Below());
    last_ = heap_.back();
    heap_.pop_back();
    json.Begin();
    subject_.write(entries_[last_], json);
    json.End();
    return true;
  }

  static std::string Place(const Counted& entry) {
    return std::to_string(entry.visitors) + ":" + std::to_string(entry.hash) + ":" + EscapeBytes(entry.Beginning());
  }

  const LiveTables& t_;
  const Subject& subject_;
  ListQuery query_;
  std::string after_name_;
  std::optional<Counted> after_;
  std::shared_ptr<VisitorTable::Walk> walk_;
  std::pmr::monotonic_buffer_resource names_;
  std::vector<Counted> entries_;
  HashIndex<uint32_t> index_;  // Places in entries_, from 1.
  std::vector<uint32_t> heap_;
  size_t heaped_ = 0;
  uint32_t last_ = 0;
  size_t left_;
  std::string next_;
};

// "COUNT:HASH:NAME" of the last row before.
bool ReadCounted(std::string_view place, Counted& after, std::string& name) {
  const size_t first = place.find(':');
  const size_t second = first == std::string_view::npos ? first : place.find(':', first + 1);
  if (second == std::string_view::npos) return false;
  const auto visitors = ReadCount(place.substr(0, first));
  const auto hash = ReadCount(place.substr(first + 1, second - first - 1));
  auto bytes = DecodePercent(place.substr(second + 1), false);
  if (!visitors || *visitors > INT32_MAX || !hash || !bytes) return false;
  after.visitors = static_cast<int32_t>(*visitors);
  after.hash = *hash;
  name = std::move(*bytes);
  return true;
}

HttpReply CountedReply(LiveContext& c, const LiveRequest& request, const Subject& subject) {
  ListQuery query;
  const unsigned takes = kTakesVisitors | kTakesPlace;
  if (const std::string error = ReadListQuery(request.query, c.t, takes, query); !error.empty()) {
    return ErrorReply(400, error);
  }
  std::optional<Counted> after;
  std::string name;
  if (!query.cursor.empty()) {
    const auto place = ReadCursor(c.t, query.cursor);
    if (!place || !ReadCounted(*place, after.emplace(), name)) return ErrorReply(400, kBadCursor);
  }
  return ListReply(c, std::make_unique<CountedRows>(c.t, subject, std::move(query), after, std::move(name)));
}

constexpr Subject kPageSubject = {
    [](const VisitorRec& v) { return v.Page.View(); }, nullptr, true,
    [](const Counted& entry, JsonWriter& json) {
      json.Number("site", entry.site).Text("page", entry.name).Number("visitors", entry.visitors);
      json.Time("newest", entry.newest);
    }};
constexpr Subject kReferrerSubject = {
    [](const VisitorRec& v) { return v.Referrer.View(); }, nullptr, true,
    [](const Counted& entry, JsonWriter& json) {
      json.Number("site", entry.site).Text("referrer", entry.name).Number("visitors", entry.visitors);
    }};
constexpr Subject kCountrySubject = {[](const VisitorRec& v) { return v.CountryCode.View(); },
                                     [](const VisitorRec& v) { return v.CountryName.View(); }, false,
                                     [](const Counted& entry, JsonWriter& json) {
                                       json.Text("country", entry.name).TextOrNull("country_name", entry.more);
                                       json.Number("visitors", entry.visitors);
                                     }};

}  // namespace

HttpReply PagesNow(LiveContext& c, const LiveRequest& request) {
  return CountedReply(c, request, kPageSubject);
}

HttpReply ReferrersNow(LiveContext& c, const LiveRequest& request) {
  return CountedReply(c, request, kReferrerSubject);
}

HttpReply CountriesNow(LiveContext& c, const LiveRequest& request) {
  return CountedReply(c, request, kCountrySubject);
}

}  // namespace vantry
