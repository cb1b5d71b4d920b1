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

  // Visitors in use.
  int32_t Count() const { return count_; }

  // The visitor at this number, or null for a gap or a number outside the table.
  VisitorRec* At(int32_t number) const;
  // The first visitor of this site and address, 0 for none.
  int32_t Find(int16_t site, std::string_view ip) const;
  // The same as a record, null for none.
  VisitorRec* Lookup(int16_t site, std::string_view ip) const;
  // Ask the memory for what Lookup of this hash will need, first for the index, a little later for the record. With
  // 100,000 visitors on line, the wait for these is most of the cost of a page view.
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
  // Takes out the visitors with these numbers, calling `leave` for each right before. The order of the others stays,
  // and so do all numbers until CloseGaps. `leave` must not add or remove.
  void Remove(std::span<const int32_t> numbers, const std::function<void(VisitorRec&)>& leave = {});
  // Gives the visitors new numbers without gaps between them, in one pass, where gaps prevail.
  void CloseGaps();
  // How many visitors were ever taken out.
  uint64_t Removed() const { return removed_; }
  // Marks that something which a list shows of the visitor has changed.
  void Touch(VisitorRec& visitor);
  // For those who show the visitors: counts up whenever one came, left or was touched, or the view changed.
  uint64_t Changes() const { return changes_; }
  void NoteViewChange() { ++changes_; }
  // The how-manieth visitor of the run the one at this number is, from 1. It grows with the number, stays when gaps are
  // closed, and no other visitor ever has it. The number must be in the table, but may be a gap.
  uint64_t ArrivalAt(int32_t number) const;
  // The number of that visitor, 0 when it has left.
  int32_t FindArrival(uint64_t arrival) const;
  // The highest number.
  int32_t LastNumber() const { return static_cast<int32_t>(places_.size()); }

  // A walk through the visitors that may rest while others come and go: it meets each of those that were there when it
  // began and have not left meanwhile, once and in order. It need not outlive the table, nor the table it.
  struct Walk {
    int32_t next = 1, end = 0;
    bool Done() const { return next > end; }
  };
  std::shared_ptr<Walk> NewWalk();
  // One step on: the visitor there, or null for a gap.
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
  std::vector<std::weak_ptr<Walk>> walks_;
  int32_t count_ = 0;
  uint64_t removed_ = 0;
  uint64_t changes_ = 0;
};

}  // namespace vantry
