// The repository's upcall lock: ORB threads waiting for it go before the
// web view's background threads, and a thread that holds it re-enters it
// whatever its class.
#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

#include "ir/upcall_lock.h"

namespace {

// Spins until `lock` counts `n` waiting ORB threads.
void wait_for_waiters(const IrUpcallLock& lock, int n) {
  while (lock.waiting() < n) std::this_thread::yield();
}

TEST(UpcallLock, WaitingOrbThreadsGoBeforeBackgroundThreads) {
  IrUpcallLock lock;
  std::mutex order_mutex;
  std::vector<char> order;
  auto note = [&](char who) {
    std::lock_guard<std::mutex> g(order_mutex);
    order.push_back(who);
  };

  lock.lock();  // this thread is an ORB thread
  std::thread orb_a([&] {
    std::lock_guard<IrUpcallLock> g(lock);
    note('a');
  });
  wait_for_waiters(lock, 1);
  std::thread background([&] {
    IrUpcallLock::mark_background_thread();
    std::lock_guard<IrUpcallLock> g(lock);
    note('w');
  });
  std::thread orb_b([&] {
    std::lock_guard<IrUpcallLock> g(lock);
    note('b');
  });
  wait_for_waiters(lock, 2);
  lock.unlock();
  orb_a.join();
  orb_b.join();
  background.join();
  ASSERT_EQ(order.size(), 3u);
  EXPECT_EQ(order[2], 'w');
}

TEST(UpcallLock, AHolderReentersEvenWhileOthersWait) {
  IrUpcallLock lock;
  bool orb_ran = false;
  std::thread background([&] {
    IrUpcallLock::mark_background_thread();
    lock.lock();
    std::thread orb([&] {
      std::lock_guard<IrUpcallLock> g(lock);
      orb_ran = true;
    });
    wait_for_waiters(lock, 1);
    // A colocated call back into the repository while an ORB thread
    // waits: it must not wait for that thread, which waits for it.
    lock.lock();
    lock.unlock();
    EXPECT_FALSE(orb_ran);
    lock.unlock();
    orb.join();
  });
  background.join();
  EXPECT_TRUE(orb_ran);
}

}  // namespace
