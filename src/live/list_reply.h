// Lists that are made while they are sent: {"items":[...],"next":...,"event":N}.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "live/json_writer.h"
#include "live/live_context.h"
#include "live/route.h"

namespace vantry {

// Where the rows of a list come from. Tables may change between two steps.
class ListRows {
 public:
  virtual ~ListRows() = default;
  // Looks at one thing more and writes one object at most. False at the end of the list.
  virtual bool Step(JsonWriter& json) = 0;
  // After the end: the cursor with which the list goes on, empty if that was all.
  virtual std::string Next() const = 0;
  // What has gone wrong meanwhile; empty if nothing has.
  virtual std::string Problem() const { return {}; }
};

// A piece ends when it has this size, or after a millisecond.
inline constexpr size_t kListPieceBytes = 64 * 1024;

HttpReply ListReply(LiveContext& c, std::unique_ptr<ListRows> rows);

}  // namespace vantry
