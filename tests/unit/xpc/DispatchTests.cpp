#include <dispatch/dispatch.h>
#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "Eventually.h"

namespace {

void addOne(void* counter) { ++*static_cast<int*>(counter); }

// Also: a queue needs no label, and the function variants pass their context.
TEST(Dispatch, SerialQueueRunsBlocksOneAtATimeInSubmissionOrder) {
  dispatch_queue_t queue = dispatch_queue_create(nullptr, DISPATCH_QUEUE_SERIAL);
  __block std::vector<int> order;
  std::atomic<int> running{0};
  std::atomic<int>* inside = &running;
  __block bool overlapped = false;
  for (int i = 0; i < 2000; ++i) {
    dispatch_async(queue, ^{
      if (inside->fetch_add(1) != 0) overlapped = true;
      order.push_back(i);
      inside->fetch_sub(1);
    });
  }
  // dispatch_sync returns only after everything submitted before it ran.
  __block size_t seen = 0;
  dispatch_sync(queue, ^{ seen = order.size(); });
  EXPECT_EQ(seen, 2000u);
  EXPECT_FALSE(overlapped);
  for (int i = 0; i < 2000; ++i) ASSERT_EQ(order[i], i);

  int counter = 0;
  dispatch_async_f(queue, &counter, addOne);
  dispatch_sync_f(queue, &counter, addOne);
  EXPECT_EQ(counter, 2);
  dispatch_release(queue);
}

TEST(Dispatch, ReleasedQueueFinishesItsPendingBlocks) {
  dispatch_queue_t queue = dispatch_queue_create("test.released", DISPATCH_QUEUE_SERIAL);
  dispatch_semaphore_t go = dispatch_semaphore_create(0);
  dispatch_semaphore_t done = dispatch_semaphore_create(0);
  __block int ran = 0;
  dispatch_async(queue, ^{ waitFor(go); });
  for (int i = 0; i < 10; ++i) {
    dispatch_async(queue, ^{
      if (++ran == 10) dispatch_semaphore_signal(done);
    });
  }
  dispatch_release(queue);
  dispatch_semaphore_signal(go);
  EXPECT_TRUE(waitFor(done));
  EXPECT_EQ(ran, 10);
  dispatch_release(go);
  dispatch_release(done);
}

TEST(Dispatch, SemaphoreCountsSignalsAndTimesOutOnASaturatingClock) {
  EXPECT_EQ(dispatch_semaphore_create(-1), nullptr);
  dispatch_semaphore_t semaphore = dispatch_semaphore_create(1);
  EXPECT_EQ(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW), 0);
  EXPECT_NE(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW), 0);
  EXPECT_NE(dispatch_semaphore_wait(semaphore, dispatch_time(DISPATCH_TIME_NOW, -NSEC_PER_SEC)), 0);
  EXPECT_EQ(dispatch_semaphore_signal(semaphore), 0);  // nobody was waiting
  EXPECT_EQ(dispatch_semaphore_signal(semaphore), 0);
  EXPECT_EQ(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_FOREVER), 0);
  EXPECT_EQ(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW), 0);
  dispatch_release(semaphore);

  // The clock behind the timeouts is monotonic and saturates.
  dispatch_time_t now = dispatch_time(DISPATCH_TIME_NOW, 0);
  EXPECT_NE(now, DISPATCH_TIME_NOW);
  EXPECT_GT(dispatch_time(now, NSEC_PER_SEC), now);
  EXPECT_LT(dispatch_time(now, -static_cast<int64_t>(NSEC_PER_SEC)), now);
  EXPECT_EQ(dispatch_time(now, 5), now + 5);
  EXPECT_EQ(dispatch_time(DISPATCH_TIME_FOREVER, -1), DISPATCH_TIME_FOREVER);
  EXPECT_EQ(dispatch_time(UINT64_MAX - 10, 100), DISPATCH_TIME_FOREVER);
  EXPECT_GT(dispatch_time(now, INT64_MIN), DISPATCH_TIME_NOW);
}

}  // namespace
