// The repository-wide upcall lock: recursive, and with two classes of
// threads.  Threads of the ORB (IIOP clients' requests) take it as a
// plain recursive mutex; background threads of the process's own (the
// web view's HTTP workers, which read the repository through colocated
// calls, one call at a time) give way to them: such a thread takes the
// lock only while no ORB thread is waiting for it.  Without that, a
// background thread that releases the lock after one call and takes it
// again for the next keeps winning it, and an IIOP request waits for a
// whole page.
#ifndef IR_IR_UPCALL_LOCK_H
#define IR_IR_UPCALL_LOCK_H

#include <atomic>
#include <mutex>

class IrUpcallLock {
 public:
  void lock();
  void unlock();

  // Marks the calling thread as a background thread for the rest of its
  // life.
  static void mark_background_thread();

  // How many ORB threads wait for the lock (for tests).
  int waiting() const { return waiting_.load(); }

 private:
  std::recursive_mutex mutex_;
  // ORB threads blocked in lock().
  std::atomic<int> waiting_{0};
};

#endif  // IR_IR_UPCALL_LOCK_H
