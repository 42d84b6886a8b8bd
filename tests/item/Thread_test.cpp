#include "msg-tarvel-common/item/Thread.h"

#include <cstring>
#include <new>

#include "item/item_suites.h"

namespace msg_tarvel::item_test {

static_assert(std::is_move_constructible_v<Thread>);
static_assert(!std::is_nothrow_move_constructible_v<Thread>);

INSTANTIATE_TYPED_TEST_SUITE_P(Thread, ItemShape, Thread);
INSTANTIATE_TYPED_TEST_SUITE_P(Thread, ItemValue, Thread);

/** lastMsgId keeps what its memory held, whichever way a Thread is built or changed. */
class ThreadLastMsgId : public ::testing::Test {
 protected:
  static constexpr int32_t BEFORE = 0x5A5A5A5A;

  ThreadLastMsgId() { std::memset(_memory, 0x5A, sizeof _memory); }
  ~ThreadLastMsgId() override {
    if (_thread) _thread->~Thread();
  }

  /** A Thread built from `arguments` in memory where every byte is 0x5A. */
  template <typename... Arguments>
  Thread& build(Arguments&&... arguments) {
    _thread = new (_memory) Thread(std::forward<Arguments>(arguments)...);
    return *_thread;
  }

 private:
  alignas(Thread) unsigned char _memory[sizeof(Thread)] = {};
  Thread* _thread = nullptr;
};

TEST_F(ThreadLastMsgId, IsLeftAloneByTheDefaultConstructor) {
  EXPECT_EQ(build().lastMsgId, BEFORE);
}

TEST_F(ThreadLastMsgId, IsNotCopied) {
  auto source = sample<Thread>(SEED);
  source.lastMsgId = 7;
  const Thread& copy = build(source);
  EXPECT_EQ(copy.lastMsgId, BEFORE);
  EXPECT_EQ(source.lastMsgId, 7);
  EXPECT_EQ(differences(copy, source), "");
}

TEST_F(ThreadLastMsgId, IsNotMoved) {
  auto source = sample<Thread>(SEED);
  source.lastMsgId = 7;
  const Thread& target = build(std::move(source));
  EXPECT_EQ(target.lastMsgId, BEFORE);
  // NOLINTNEXTLINE(bugprone-use-after-move): what is left in the source is the point
  EXPECT_EQ(source.lastMsgId, 7);
  EXPECT_EQ(differences(target, sample<Thread>(SEED)), "");
}

TEST_F(ThreadLastMsgId, StaysInPlaceWhenTheOthersAreSwapped) {
  auto a = sample<Thread>(SEED);
  a.lastMsgId = 7;
  auto b = sample<Thread>(OTHER_SEED);
  b.lastMsgId = 8;
  swap(a, b);
  EXPECT_EQ(a.lastMsgId, 7);
  EXPECT_EQ(b.lastMsgId, 8);
  EXPECT_EQ(differences(a, sample<Thread>(OTHER_SEED)), "");
}

TEST_F(ThreadLastMsgId, IsNotAssigned) {
  auto source = sample<Thread>(SEED);
  source.lastMsgId = 7;
  Thread target;
  target.lastMsgId = 8;
  target = source;
  EXPECT_EQ(target.lastMsgId, 8);
  target = std::move(source);
  EXPECT_EQ(target.lastMsgId, 8);
  Thread& itself = target;
  target = itself;
  EXPECT_EQ(target.lastMsgId, 8);
}

}  // namespace msg_tarvel::item_test
