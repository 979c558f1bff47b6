// The recursive timed lock: a lock word with waiter count and an auto-reset
// event made lazily, under a thread-id word and a recursion count. The event
// is a mutex, a condition and a flag; one set wakes one waiter.
#include "frameblend/parallel/handler_lock.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/thread/exceptions.hpp>

#include "frameblend/parallel/engine_threads.h"

namespace {

using boost::posix_time::ptime;

// The current time as the deadline's clock gives it (UTC).
ptime now() { return boost::posix_time::microsec_clock::universal_time(); }

std::chrono::system_clock::time_point to_system_clock(const ptime& deadline) {
  static const ptime epoch(boost::gregorian::date(1970, 1, 1));
  return std::chrono::system_clock::time_point(
      std::chrono::microseconds((deadline - epoch).total_microseconds()));
}

}  // namespace

class RX_RecursiveTimedLock::Event {
 public:
  void set() {
    {
      std::lock_guard lock(mutex_);
      signalled_ = true;
    }
    condition_.notify_one();
  }
  // True when signalled before the deadline; the signal is consumed.
  bool wait(const ptime& deadline) {
    std::unique_lock lock(mutex_);
    const auto signalled = [this] { return signalled_; };
    if (deadline.is_pos_infinity()) {
      condition_.wait(lock, signalled);
    } else if (!condition_.wait_until(lock, to_system_clock(deadline), signalled)) {
      return false;
    }
    signalled_ = false;
    return true;
  }

 private:
  std::mutex mutex_;
  std::condition_variable condition_;
  bool signalled_ = false;
};

RX_RecursiveTimedLock::~RX_RecursiveTimedLock() { delete event_.load(std::memory_order_acquire); }

RX_RecursiveTimedLock::Event& RX_RecursiveTimedLock::event() {
  Event* current = event_.load(std::memory_order_acquire);
  if (current) return *current;
  Event* made = new (std::nothrow) Event;
  if (!made) throw boost::thread_resource_error();
  // Two threads may make one at once: the loser drops its own.
  if (!event_.compare_exchange_strong(current, made, std::memory_order_acq_rel,
                                      std::memory_order_acquire)) {
    delete made;
    return *current;
  }
  return *made;
}

bool RX_RecursiveTimedLock::try_lock_word() {
  return !(word_.fetch_or(kHeld, std::memory_order_acquire) & kHeld);
}

bool RX_RecursiveTimedLock::lock_word_until(const ptime& deadline) {
  if (try_lock_word()) return true;
  Event& wake = event();
  // Become a waiter, unless the lock came free meanwhile: then take it.
  uint32_t old = word_.load(std::memory_order_relaxed);
  for (;;) {
    const uint32_t desired = (old & kHeld) ? old + 1 : (old | kHeld);
    if (word_.compare_exchange_weak(old, desired, std::memory_order_acquire,
                                    std::memory_order_relaxed)) {
      if (!(old & kHeld)) return true;
      break;
    }
  }
  for (;;) {
    if (!wake.wait(deadline)) {
      word_.fetch_sub(1, std::memory_order_relaxed);
      return false;
    }
    // Woken: let the next unlock wake someone again, and take the lock if
    // it is free, leaving the waiters in one step.
    old = word_.load(std::memory_order_relaxed);
    for (;;) {
      const uint32_t cleared = old & ~kWaking;
      const uint32_t desired = (old & kHeld) ? cleared : ((cleared - 1) | kHeld);
      if (word_.compare_exchange_weak(old, desired, std::memory_order_acquire,
                                      std::memory_order_relaxed)) {
        break;
      }
    }
    if (!(old & kHeld)) return true;
  }
}

void RX_RecursiveTimedLock::unlock_word() {
  // Adding bit 31 to a word that has it clears it.
  uint32_t old = word_.fetch_add(kHeld, std::memory_order_release) + kHeld;
  while ((old & kWaiters) && !(old & kWaking)) {
    if (word_.compare_exchange_weak(old, old | kWaking, std::memory_order_relaxed,
                                    std::memory_order_relaxed)) {
      event().set();
      return;
    }
  }
}

bool RX_RecursiveTimedLock::lock_as(uint32_t self, const ptime& deadline) {
  if (owner_.load(std::memory_order_relaxed) == self) {
    ++recursion_;
    return true;
  }
  if (!lock_word_until(deadline)) return false;
  owner_.store(self, std::memory_order_relaxed);
  recursion_ = 1;
  return true;
}

void RX_RecursiveTimedLock::lock() {
  lock_as(RX_EngineCurrentThreadId(), ptime(boost::posix_time::pos_infin));
}

bool RX_RecursiveTimedLock::try_lock() {
  const uint32_t self = RX_EngineCurrentThreadId();
  if (owner_.load(std::memory_order_relaxed) == self) {
    ++recursion_;
    return true;
  }
  if (!try_lock_word()) return false;
  owner_.store(self, std::memory_order_relaxed);
  recursion_ = 1;
  return true;
}

bool RX_RecursiveTimedLock::timed_lock(const ptime& deadline) {
  return lock_as(RX_EngineCurrentThreadId(), deadline);
}

bool RX_RecursiveTimedLock::timed_lock(const boost::posix_time::time_duration& wait) {
  return lock_as(RX_EngineCurrentThreadId(), now() + wait);
}

void RX_RecursiveTimedLock::unlock() {
  if (--recursion_ == 0) {
    owner_.store(0, std::memory_order_relaxed);
    unlock_word();
  }
}

RX_RecursiveTimedLock& RX_HandlerLock() {
  static RX_RecursiveTimedLock lock;
  return lock;
}
