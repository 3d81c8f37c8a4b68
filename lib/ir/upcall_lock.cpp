#include "ir/upcall_lock.h"

#include <chrono>
#include <thread>

namespace {
thread_local bool t_background = false;
// How deep the calling thread holds the lock (it is recursive).
thread_local int t_depth = 0;
}  // namespace

void IrUpcallLock::mark_background_thread() { t_background = true; }

void IrUpcallLock::lock() {
  if (t_depth > 0) {
    // A thread that holds the lock never waits for others: they wait for
    // it.
    mutex_.lock();
  } else if (!t_background) {
    waiting_.fetch_add(1, std::memory_order_relaxed);
    mutex_.lock();
    waiting_.fetch_sub(1, std::memory_order_relaxed);
  } else {
    for (;;) {
      while (waiting_.load(std::memory_order_relaxed) > 0)
        std::this_thread::sleep_for(std::chrono::microseconds(20));
      mutex_.lock();
      if (waiting_.load(std::memory_order_relaxed) == 0) break;
      mutex_.unlock();
    }
  }
  ++t_depth;
}

void IrUpcallLock::unlock() {
  --t_depth;
  mutex_.unlock();
}
