#include "platform/kal_mutex.h"

#include <atomic>
#include <cerrno>
#include <mutex>
#include <new>
#include <thread>

struct KALMutex {
  std::mutex mutex;
  std::atomic<std::thread::id> owner{};
  unsigned handle = 0;
};

namespace {
std::atomic<unsigned> next_handle{0x1000};
}

int KALCreateMutexSem(KALMutexSem* out) {
  if (!out) return EINVAL;
  KALMutex* m = new (std::nothrow) KALMutex;
  if (!m) return ENOMEM;
  m->handle = next_handle++;
  *out = m;
  return 0;
}

int KALRequestMutexSem(KALMutexSem sem) {
  if (!sem) return EINVAL;
  if (sem->owner.load() == std::this_thread::get_id()) return EDEADLK;
  sem->mutex.lock();
  sem->owner.store(std::this_thread::get_id());
  return 0;
}

int KALReleaseMutexSem(KALMutexSem sem) {
  if (!sem) return EINVAL;
  if (sem->owner.load() != std::this_thread::get_id()) return EPERM;
  sem->owner.store(std::thread::id());
  sem->mutex.unlock();
  return 0;
}

int KALDestroyMutexSem(KALMutexSem sem) {
  if (!sem) return EINVAL;
  if (sem->owner.load() != std::thread::id()) return EBUSY;
  delete sem;
  return 0;
}

unsigned KALMutexHandle(KALMutexSem sem) { return sem ? sem->handle : 0; }
