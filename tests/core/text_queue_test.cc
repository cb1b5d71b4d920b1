#include "core/text_queue.h"

#include <deque>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(TextQueue, JoinsWhatIsPushed) {
  TextQueue queue;
  EXPECT_EQ(queue.Push("/a", "?b"), "/a?b");
  EXPECT_EQ(queue.Push("", ""), "");
  EXPECT_EQ(queue.Push(std::string(1 << 20, 'x'), "y").size(), (1u << 20) + 1);
}

TEST(TextQueue, TextsStayUntilTheyArePopped) {
  std::mt19937 random(7);
  TextQueue queue;
  std::deque<std::pair<std::string_view, std::string>> model;
  for (int step = 0; step < 20'000; ++step) {
    if (!model.empty() && random() % 100 < (model.size() < 500 ? 20u : 60u)) {
      ASSERT_EQ(model.front().first, model.front().second);
      queue.Pop();
      model.pop_front();
    } else if (random() % 3'000 == 0) {
      queue.Clear();
      model.clear();
    } else {
      const size_t bytes = random() % 200 == 0 ? random() % 200'000 : random() % 300;
      const std::string text(bytes, static_cast<char>('a' + step % 26));
      const size_t cut = random() % (bytes + 1);
      model.emplace_back(queue.Push(text.substr(0, cut), text.substr(cut)), text);
    }
  }
  for (const auto& [kept, text] : model) EXPECT_EQ(kept, text);
}

}  // namespace
}  // namespace vantry
