#include "core/bounded_queue.h"

#include <string>

#include <gtest/gtest.h>

namespace vantry {
namespace {

std::string Contents(BoundedQueue<std::string> queue) {
  std::string all;
  while (!queue.Empty()) all += queue.Pop() + " ";
  return all;
}

TEST(BoundedQueue, KeepsTheNewestRows) {
  BoundedQueue<std::string> queue(3, 100);
  for (const char* text : {"a", "b", "c"}) queue.Push(text, 1);
  EXPECT_EQ(queue.TakeDropped(), 0);
  queue.Push("d", 1);
  queue.Push("e", 1);
  EXPECT_EQ(Contents(queue), "c d e ");
  EXPECT_EQ(queue.Rows(), 3u);
  EXPECT_EQ(queue.TakeDropped(), 2);
  EXPECT_EQ(queue.TakeDropped(), 0);
}

TEST(BoundedQueue, KeepsTheNewestBytes) {
  BoundedQueue<std::string> queue(100, 10);
  queue.Push("a", 4);
  queue.Push("b", 6);
  EXPECT_EQ(queue.Bytes(), 10u);
  queue.Push("c", 1);
  EXPECT_EQ(Contents(queue), "b c ");
  queue.Push("large", 11);
  EXPECT_EQ(Contents(queue), "large ") << "the newest stays whatever its size";
  queue.Push("d", 1);
  EXPECT_EQ(Contents(queue), "d ");
  EXPECT_EQ(queue.TakeDropped(), 4);
}

TEST(BoundedQueue, IsFirstInFirstOut) {
  BoundedQueue<std::string> queue(2, 10);
  queue.Push("a", 5);
  queue.Push("b", 5);
  EXPECT_EQ(queue.Pop(), "a");
  queue.Push("c", 5);
  EXPECT_EQ(queue.Front(), "b");
  EXPECT_EQ(Contents(queue), "b c ");
  EXPECT_EQ(queue.TakeDropped(), 0);
}

}  // namespace
}  // namespace vantry
