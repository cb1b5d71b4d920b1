// The visitor table: the visitors now on line, in order of arrival, found by (site, address) through an index.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/chunk_store.h"
#include "core/hash_index.h"
#include "core/name_index.h"
#include "core/shared_text.h"

namespace vantry {

struct VisitorRec;

// Visitor numbers are 1-based places. A number the caller holds is void after the next removal; a visitor that left
// keeps its place empty until gaps prevail, when one stable pass closes them.
class VisitorTable {
 public:
  VisitorTable();
  ~VisitorTable();
  VisitorTable(const VisitorTable&) = delete;
  VisitorTable& operator=(const VisitorTable&) = delete;

  // Visitors on line.
  int32_t Count() const { return count_; }

  // The visitor at this number, or null for a gap or a number outside the table.
  VisitorRec* At(int32_t number) const;
  // The first visitor of this site and address, 0 for none.
  int32_t Find(int16_t site, std::string_view ip) const;
  // The same as a record, null for none.
  VisitorRec* Lookup(int16_t site, std::string_view ip) const;
  // Prefetch what Lookup will need for this hash: first its place in the index, a little later the record. With 100,000
  // visitors on line, waiting for these is most of the cost of a page view.
  static uint64_t HashOf(int16_t site, std::string_view ip);
  void WarmIndex(uint64_t hash) const { index_.Warm(hash); }
  void WarmRecord(uint64_t hash) const;
  // Adds an empty visitor with this site and address at the end; its number is the result.
  int32_t Add(int16_t site, std::string_view ip);
  // Gives a visitor another address.
  void ChangeAddress(VisitorRec& visitor, std::string_view ip);
  // One text for all visitors that have it.
  SharedText Shared(std::string_view text) { return texts_.Get(text); }
  // Gives a visitor another DNS. Every change goes through here, or FirstNamed misses it.
  void ChangeName(VisitorRec& visitor, std::string_view name);
  // Returns the first visitor of this site, or of any (0), whose DNS fits the mask, null for none. Only a mask's first
  // call goes through all visitors.
  VisitorRec* FirstNamed(const std::string& mask, int16_t site = 0);
  // Takes out the visitors with these numbers, calling `leave` for each just before. The others keep their order, and
  // their numbers until CloseGaps. `leave` must not add or remove.
  void Remove(std::span<const int32_t> numbers, const std::function<void(VisitorRec&)>& leave = {});
  // If gaps prevail, renumbers the visitors without gaps, in one pass.
  void CloseGaps();
  // Visitors taken out so far.
  uint64_t Removed() const { return removed_; }
  // Notes that something a list shows of the visitor has changed.
  void Touch(VisitorRec& visitor);
  // Grows whenever a visitor comes, leaves or is touched, or the view changes: for those who show the visitors.
  uint64_t Changes() const { return changes_; }
  void NoteViewChange() { ++changes_; }
  // The ordinal, from 1, of the visitor with this number among all visitors of the run. It grows with the number, stays
  // the same when gaps are closed, and is never given to another visitor. The number must be in the table, but may be a
  // gap.
  uint64_t ArrivalAt(int32_t number) const;
  // The number of the visitor with this ordinal, 0 if it has left.
  int32_t FindArrival(uint64_t arrival) const;
  // The first number whose ordinal is this or higher; one above LastNumber() if there is none. It may be a gap.
  int32_t FirstFrom(uint64_t arrival) const;
  // The highest number.
  int32_t LastNumber() const { return static_cast<int32_t>(places_.size()); }

  // A walk through the visitors that may pause while others come and go. It meets each visitor who was there when it
  // began and has not left since, once and in order. Walk and table may be destroyed in either order.
  struct Walk {
    int32_t next = 1, end = 0;
    bool Done() const { return next > end; }
  };
  std::shared_ptr<Walk> NewWalk() const;
  // Moves one step on and returns the visitor there, null for a gap.
  VisitorRec* Step(Walk& walk) const { return At(walk.next++); }

  // Calls `f(int32_t number, VisitorRec&)` for each visitor in order. `f` must not add or remove.
  template <class F>
  void ForEach(F&& f) const {
    for (size_t i = 0; i < places_.size(); ++i) {
      if (places_[i]) f(static_cast<int32_t>(i + 1), store_[places_[i]]);
    }
  }

 private:
  void WarmPlace(int32_t number) const;
  uint64_t Arrived() const { return removed_ + static_cast<uint64_t>(count_); }

  TextPool texts_;
  ChunkStore<VisitorRec> store_;
  std::vector<uint32_t> places_;    // In order of arrival: the visitor's place in the store, 0 for a gap.
  std::vector<uint32_t> arrivals_;  // Of the same visitors, gaps included: the low half of what ArrivalAt tells.
  HashIndex<uint32_t> index_;       // Places in the store.
  NameIndex names_;
  mutable std::vector<std::weak_ptr<Walk>> walks_;  // Those who only look walk, too.
  int32_t count_ = 0;
  uint64_t removed_ = 0;
  uint64_t changes_ = 0;
};

}  // namespace vantry
