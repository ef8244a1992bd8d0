// C11's threads for hosted programs, by the names of ISO C: threads, mutexes, condition
// variables and storage of each thread are POSIX threads (pthread.h), and may be used
// together with them.
//
// A result is thrd_success; thrd_busy where something is taken, thrd_timedout at the end
// of the time, thrd_nomem for no memory, thrd_error otherwise. Points in time are
// CLOCK_REALTIME's. Any thread may call any of them.
#pragma once

#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <stdint.h>
#include <stdlib.h>
#include <time.h>

#if !defined(__cplusplus) && !defined(thread_local)
#define thread_local _Thread_local
#endif
#define ONCE_FLAG_INIT PTHREAD_ONCE_INIT
#define TSS_DTOR_ITERATIONS PTHREAD_DESTRUCTOR_ITERATIONS

typedef pthread_t thrd_t;
typedef pthread_mutex_t mtx_t;
typedef pthread_cond_t cnd_t;
typedef pthread_key_t tss_t;
typedef pthread_once_t once_flag;
typedef int (*thrd_start_t)(void* argument);
typedef void (*tss_dtor_t)(void* value);

enum { thrd_success, thrd_busy, thrd_error, thrd_nomem, thrd_timedout };
enum { mtx_plain = 0, mtx_recursive = 1, mtx_timed = 2 };

static __inline__ int __thrd_result(int error) {
  switch (error) {
    case 0:
      return thrd_success;
    case EBUSY:
      return thrd_busy;
    case ENOMEM:
      return thrd_nomem;
    case ETIMEDOUT:
      return thrd_timedout;
    default:
      return thrd_error;
  }
}

struct __thrd_start {
  thrd_start_t routine;
  void* argument;
};

static __inline__ void* __thrd_run(void* argument) {
  const struct __thrd_start start = *(struct __thrd_start*)argument;
  free(argument);
  return (void*)(intptr_t)start.routine(start.argument);
}

// Threads. The result of one is what its routine returns or thrd_exit is told.
static __inline__ int thrd_create(thrd_t* thread, thrd_start_t routine, void* argument) {
  struct __thrd_start* start = (struct __thrd_start*)malloc(sizeof *start);
  int error = ENOMEM;
  if (start) {
    start->routine = routine;
    start->argument = argument;
    error = pthread_create(thread, NULL, __thrd_run, start);
    if (error) free(start);
  }
  return __thrd_result(error == EAGAIN ? ENOMEM : error);
}
static __inline__ thrd_t thrd_current(void) { return pthread_self(); }
static __inline__ int thrd_equal(thrd_t one, thrd_t other) { return pthread_equal(one, other); }
static __inline__ int thrd_detach(thrd_t thread) { return __thrd_result(pthread_detach(thread)); }
static __inline__ __attribute__((noreturn)) void thrd_exit(int result) {
  pthread_exit((void*)(intptr_t)result);
  __builtin_unreachable();
}
static __inline__ int thrd_join(thrd_t thread, int* result) {
  void* value = NULL;
  const int error = pthread_join(thread, &value);
  if (!error && result) *result = (int)(intptr_t)value;
  return __thrd_result(error);
}
// 0; -1 if a signal ended it, another negative number on failure.
static __inline__ int thrd_sleep(const struct timespec* duration, struct timespec* left) {
  if (nanosleep(duration, left) == 0) return 0;
  return errno == EINTR ? -1 : -2;
}
static __inline__ void thrd_yield(void) { sched_yield(); }

// Mutexes. Each of them may be waited for with a limit of time.
static __inline__ int mtx_init(mtx_t* mutex, int type) {
  pthread_mutexattr_t attributes;
  int error = pthread_mutexattr_init(&attributes);
  if (error) return __thrd_result(error);
  pthread_mutexattr_settype(&attributes,
                            type & mtx_recursive ? PTHREAD_MUTEX_RECURSIVE : PTHREAD_MUTEX_NORMAL);
  error = pthread_mutex_init(mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  return __thrd_result(error);
}
static __inline__ void mtx_destroy(mtx_t* mutex) { pthread_mutex_destroy(mutex); }
static __inline__ int mtx_lock(mtx_t* mutex) { return __thrd_result(pthread_mutex_lock(mutex)); }
static __inline__ int mtx_timedlock(mtx_t* mutex, const struct timespec* end) {
  return __thrd_result(pthread_mutex_timedlock(mutex, end));
}
static __inline__ int mtx_trylock(mtx_t* mutex) {
  return __thrd_result(pthread_mutex_trylock(mutex));
}
static __inline__ int mtx_unlock(mtx_t* mutex) {
  return __thrd_result(pthread_mutex_unlock(mutex));
}

// Condition variables.
static __inline__ int cnd_init(cnd_t* condition) {
  return __thrd_result(pthread_cond_init(condition, NULL));
}
static __inline__ void cnd_destroy(cnd_t* condition) { pthread_cond_destroy(condition); }
static __inline__ int cnd_signal(cnd_t* condition) {
  return __thrd_result(pthread_cond_signal(condition));
}
static __inline__ int cnd_broadcast(cnd_t* condition) {
  return __thrd_result(pthread_cond_broadcast(condition));
}
static __inline__ int cnd_wait(cnd_t* condition, mtx_t* mutex) {
  return __thrd_result(pthread_cond_wait(condition, mutex));
}
static __inline__ int cnd_timedwait(cnd_t* condition, mtx_t* mutex, const struct timespec* end) {
  return __thrd_result(pthread_cond_timedwait(condition, mutex, end));
}

// Storage of each thread, whose values are destroyed as the thread ends.
static __inline__ int tss_create(tss_t* key, tss_dtor_t destructor) {
  return __thrd_result(pthread_key_create(key, destructor));
}
static __inline__ void tss_delete(tss_t key) { pthread_key_delete(key); }
static __inline__ void* tss_get(tss_t key) { return pthread_getspecific(key); }
static __inline__ int tss_set(tss_t key, void* value) {
  return __thrd_result(pthread_setspecific(key, value));
}

static __inline__ void call_once(once_flag* flag, void (*routine)(void)) {
  pthread_once(flag, routine);
}
