// The engine's recursive lock, taken around abort polling and image
// allocation, since the host's allocator may not run while an abort
// callback does. A thread-id word and a recursion count sit over a lock
// word (bit 31 held, bit 30 a waiter is being woken, the low bits the
// number of waiters) and an auto-reset event made at first need.
#pragma once

#include <atomic>
#include <cstdint>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include "RX_Config.h"

class RX_RecursiveTimedLock {
 public:
  RX_RecursiveTimedLock() = default;
  ~RX_RecursiveTimedLock();
  RX_RecursiveTimedLock(const RX_RecursiveTimedLock&) = delete;
  RX_RecursiveTimedLock& operator=(const RX_RecursiveTimedLock&) = delete;

  // Waits as long as it takes. The owner may lock again; each lock needs
  // its unlock. Throws boost::thread_resource_error if the event cannot be
  // made.
  void lock();
  bool try_lock();
  // Gives up at the deadline (UTC) or after the wait and returns false.
  bool timed_lock(const boost::posix_time::ptime& deadline);
  bool timed_lock(const boost::posix_time::time_duration& wait);
  void unlock();

  // The state, for tests and diagnostics.
  uint32_t owner() const { return owner_.load(std::memory_order_relaxed); }
  uint32_t recursion() const { return recursion_; }
  uint32_t lock_word() const { return word_.load(std::memory_order_relaxed); }

  static constexpr uint32_t kHeld = 0x80000000u;
  static constexpr uint32_t kWaking = 0x40000000u;
  static constexpr uint32_t kWaiters = 0x3FFFFFFFu;

 private:
  class Event;
  bool lock_word_until(const boost::posix_time::ptime& deadline);
  bool try_lock_word();
  void unlock_word();
  Event& event();
  bool lock_as(uint32_t self, const boost::posix_time::ptime& deadline);

  std::atomic<uint32_t> owner_{0};
  uint32_t recursion_ = 0;
  std::atomic<uint32_t> word_{0};
  std::atomic<Event*> event_{nullptr};
};

// The one lock of the engine, made at first use.
RX_RecursiveTimedLock& RX_HandlerLock();

