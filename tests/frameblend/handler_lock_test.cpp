#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <boost/date_time/posix_time/posix_time.hpp>

#include "frameblend/parallel/engine_threads.h"
#include "frameblend/parallel/handler_lock.h"

namespace {

using boost::posix_time::milliseconds;
using Clock = std::chrono::steady_clock;

TEST(HandlerLock, OwnerLocksAgainAndNeedsAnUnlockForEachLock) {
  RX_RecursiveTimedLock lock;
  lock.lock();
  lock.lock();
  EXPECT_TRUE(lock.try_lock());
  EXPECT_EQ(lock.recursion(), 3u);
  EXPECT_EQ(lock.owner(), RX_EngineCurrentThreadId());
  std::atomic<bool> other_got_it{true};
  const auto try_from_other = [&] {
    std::thread([&] {
      other_got_it = lock.try_lock();
      if (other_got_it) lock.unlock();
    }).join();
  };
  lock.unlock();
  lock.unlock();
  try_from_other();
  EXPECT_FALSE(other_got_it.load());
  lock.unlock();
  EXPECT_EQ(lock.owner(), 0u);
  EXPECT_EQ(lock.lock_word(), 0u);
  try_from_other();
  EXPECT_TRUE(other_got_it.load());
}

TEST(HandlerLock, ContendingThreadsEachGetItInTurn) {
  RX_RecursiveTimedLock lock;
  constexpr int32_t kThreads = 6;
  constexpr int32_t kRounds = 2000;
  int64_t counter = 0;  // guarded by the lock only
  std::atomic<int32_t> inside{0};
  std::atomic<bool> overlap{false};
  std::vector<std::thread> threads;
  for (int32_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int32_t i = 0; i < kRounds; ++i) {
        lock.lock();
        if (inside.fetch_add(1) != 0) overlap = true;
        if (i % 7 == 0) {
          lock.lock();  // recursion under contention
          ++counter;
          lock.unlock();
        } else {
          ++counter;
        }
        inside.fetch_sub(1);
        lock.unlock();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(counter, int64_t(kThreads) * kRounds);
  EXPECT_FALSE(overlap.load());
  EXPECT_EQ(lock.lock_word() & (RX_RecursiveTimedLock::kHeld | RX_RecursiveTimedLock::kWaiters), 0u);
}

TEST(HandlerLock, TimedWaitGivesUpAtItsDeadlineAndLeavesNoWaiter) {
  RX_RecursiveTimedLock lock;
  lock.lock();
  std::atomic<bool> got{true};
  Clock::duration waited{};
  std::thread([&] {
    const auto start = Clock::now();
    got = lock.timed_lock(milliseconds(60));
    waited = Clock::now() - start;
  }).join();
  EXPECT_FALSE(got.load());
  EXPECT_GE(waited, std::chrono::milliseconds(55));
  EXPECT_EQ(lock.lock_word() & RX_RecursiveTimedLock::kWaiters, 0u);
  lock.unlock();
  EXPECT_EQ(lock.lock_word() & RX_RecursiveTimedLock::kHeld, 0u);
}

TEST(HandlerLock, TimedWaitSucceedsWhenReleasedBeforeTheDeadline) {
  RX_RecursiveTimedLock lock;
  lock.lock();
  std::atomic<bool> waiting{false};
  std::atomic<bool> got{false};
  std::thread waiter([&] {
    waiting = true;
    got = lock.timed_lock(milliseconds(5000));
    if (got) lock.unlock();
  });
  while (!waiting.load()) std::this_thread::yield();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  lock.unlock();
  waiter.join();
  EXPECT_TRUE(got.load());
  EXPECT_EQ(lock.lock_word(), 0u);
}

TEST(HandlerLock, DeadlineInThePastOnlyTries) {
  RX_RecursiveTimedLock lock;
  const auto past = boost::posix_time::microsec_clock::universal_time() - milliseconds(10);
  EXPECT_TRUE(lock.timed_lock(past));  // free: taken at once
  std::atomic<bool> got{true};
  std::thread([&] { got = lock.timed_lock(past); }).join();
  EXPECT_FALSE(got.load());
  lock.unlock();
}

TEST(HandlerLock, OwnerTimedLockIsRecursive) {
  RX_RecursiveTimedLock lock;
  lock.lock();
  EXPECT_TRUE(lock.timed_lock(milliseconds(0)));
  EXPECT_EQ(lock.recursion(), 2u);
  lock.unlock();
  lock.unlock();
  EXPECT_EQ(lock.lock_word(), 0u);
}

TEST(HandlerLock, WaitersQueueAndAllGetTheLock) {
  RX_RecursiveTimedLock lock;
  lock.lock();
  constexpr int32_t kWaiters = 4;
  std::atomic<int32_t> acquired{0};
  std::vector<std::thread> threads;
  for (int32_t t = 0; t < kWaiters; ++t) {
    threads.emplace_back([&] {
      lock.lock();
      acquired.fetch_add(1);
      lock.unlock();
    });
  }
  // Wait until every thread counts as a waiter.
  while ((lock.lock_word() & RX_RecursiveTimedLock::kWaiters) != uint32_t(kWaiters)) {
    std::this_thread::yield();
  }
  EXPECT_EQ(acquired.load(), 0);
  lock.unlock();
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(acquired.load(), kWaiters);
  EXPECT_EQ(lock.lock_word() & (RX_RecursiveTimedLock::kHeld | RX_RecursiveTimedLock::kWaiters), 0u);
}

TEST(HandlerLock, TheEngineHasOneLock) {
  EXPECT_EQ(&RX_HandlerLock(), &RX_HandlerLock());
  RX_HandlerLock().lock();
  EXPECT_EQ(RX_HandlerLock().owner(), RX_EngineCurrentThreadId());
  RX_HandlerLock().unlock();
}

}  // namespace
