// Mutex semaphores.  Calls return 0 or an errno value.
#ifndef IR_PLATFORM_KAL_MUTEX_H
#define IR_PLATFORM_KAL_MUTEX_H

struct KALMutex;
using KALMutexSem = KALMutex*;

int KALCreateMutexSem(KALMutexSem* out);
// Not re-entrant: a second request from the holding thread fails with
// EDEADLK instead of hanging.
int KALRequestMutexSem(KALMutexSem sem);
// EPERM when the calling thread does not hold it.
int KALReleaseMutexSem(KALMutexSem sem);
// EBUSY while held.
int KALDestroyMutexSem(KALMutexSem sem);
// A small number that names the mutex in traces.
unsigned KALMutexHandle(KALMutexSem sem);

#endif
