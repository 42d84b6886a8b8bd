// Many threads write and read at once, some of them the same records; run under ThreadSanitizer
// too.

#include <gtest/gtest.h>

#include <thread>

#include "support/samples.h"

namespace msg_tarvel::wire_test {

namespace {

constexpr int THREADS = 8;
constexpr int ROUNDS = 100;

template <typename Body>
void on_all_threads(Body body) {
  std::vector<std::thread> threads;
  threads.reserve(THREADS);
  for (int i = 0; i < THREADS; ++i) threads.emplace_back(body, i);
  for (std::thread& thread : threads) thread.join();
}

bool survives(const msg_message_item_t* item, const MessageValues& values) {
  const Buffer buffer(item);
  const auto size = static_cast<std::size_t>(buffer.size());
  return msg_check_message(buffer.data(), size) == size &&
         Received(buffer.bytes()).tree() == values;
}

}  // namespace

TEST(SerializerThreads, EachItsOwnMessage) {
  std::vector<int> survivors(THREADS);
  on_all_threads([&survivors](int thread) {
    MessageValues values = full_message();
    values.own.opaque[0] = thread;
    values.own.texts[0] = "thread " + std::to_string(thread);
    Arena arena;
    const auto* const item = arena.message(values);
    int& count = survivors[static_cast<std::size_t>(thread)];
    for (int i = 0; i < ROUNDS; ++i) count += survives(item, values);
  });
  EXPECT_EQ(survivors, std::vector<int>(THREADS, ROUNDS));
}

TEST(SerializerThreads, AllTheSameMessage) {
  Arena arena;
  const MessageValues values = full_message();
  const auto* const item = arena.message(values);
  std::vector<int> survivors(THREADS);
  on_all_threads([&](int thread) {
    int& count = survivors[static_cast<std::size_t>(thread)];
    for (int i = 0; i < ROUNDS; ++i) count += survives(item, values);
  });
  EXPECT_EQ(survivors, std::vector<int>(THREADS, ROUNDS));
}

}  // namespace msg_tarvel::wire_test
