/* POSIX threads: what one thread does to another, and what is left when it has ended. */
#include <errno.h>
#include <process.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdint.h>
#include <stdio.h>
#include <threads.h>
#include <unistd.h>
#include <windows.h>

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
static int turn, changes;

static void* alternate(void* own) {
  for (int i = 0; i < 2000; ++i) {
    pthread_mutex_lock(&mutex);
    while (turn != (int)(intptr_t)own) pthread_cond_wait(&changed, &mutex);
    turn = !turn;
    ++changes;
    pthread_cond_broadcast(&changed);
    pthread_mutex_unlock(&mutex);
  }
  return own;
}

static void say(void* text) { printf("cleanup: %s\n", (char*)text); }

static sem_t waiting;

static void* wait_to_be_cancelled(void* unused) {
  pthread_mutex_lock(&mutex);
  pthread_cleanup_push(say, "of the cancelled thread");
  sem_post(&waiting);
  for (;;) pthread_cond_wait(&changed, &mutex);
  pthread_cleanup_pop(0);
  return unused;
}

static volatile int running;

static void* run_on(void* unused) {
  pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, NULL);
  pthread_cleanup_push(say, "of the running thread");
  running = 1;
  for (;;) ++running;
  pthread_cleanup_pop(0);
  return unused;
}

static pthread_key_t key;
static int destroyed;
static void destroy(void* count) { __atomic_add_fetch((int*)count, 1, __ATOMIC_RELAXED); }
static void* keep(void* unused) {
  pthread_setspecific(key, &destroyed);
  pthread_exit(&destroyed);
  return unused;
}

static DWORD WINAPI keep_in_system_thread(void* exits) {
  errno = EDOM;
  pthread_setspecific(key, &destroyed);
  if (exits) ExitThread(0);
  return 0;
}
static unsigned __stdcall keep_in_c_thread(void* unused) { return keep_in_system_thread(unused); }

static pthread_once_t once = PTHREAD_ONCE_INIT;
static int inits, serial;
static void init(void) { ++inits; }
static pthread_barrier_t barrier;
static _Thread_local int own = 5;

static void* meet(void* unused) {
  pthread_once(&once, init);
  ++own;
  if (pthread_barrier_wait(&barrier) == PTHREAD_BARRIER_SERIAL_THREAD) ++serial;
  return unused ? NULL : (void*)(intptr_t)own;
}

static void* same(void* value) { return value; }

enum { kMany = 500 };

/* C11's names for the same: the result is an int, a recursive mutex is taken twice. */
static mtx_t recursive;
static int take_twice(void* exits) {
  int busy = mtx_trylock(&recursive);
  tss_set(key, &destroyed);
  if (exits) thrd_exit(-7);
  return busy;
}

static void standard_threads(void) {
  thrd_t one;
  int results[2];
  struct timespec past;
  timespec_get(&past, TIME_UTC);
  mtx_init(&recursive, mtx_recursive | mtx_timed);
  mtx_lock(&recursive);
  int again = mtx_trylock(&recursive);
  for (int i = 0; i < 2; ++i) {
    thrd_create(&one, take_twice, i ? &key : NULL);
    thrd_join(one, &results[i]);
  }
  int late = cnd_timedwait(&changed, &mutex, &past) == thrd_timedout;
  printf("standard threads %d %d %d, destroyed %d, late %d\n", again, results[0] == thrd_busy,
         results[1], destroyed, late);
}

int main(void) {
  pthread_t one, two, many[kMany];
  void* result;
  pthread_create(&one, NULL, alternate, (void*)0);
  pthread_create(&two, NULL, alternate, (void*)1);
  pthread_join(one, NULL);
  pthread_join(two, &result);
  printf("alternated %d times, result %d\n", changes, (int)(intptr_t)result);

  sem_init(&waiting, 0, 0);
  pthread_create(&one, NULL, wait_to_be_cancelled, NULL);
  sem_wait(&waiting);
  int cancelled = pthread_cancel(one), joined = pthread_join(one, &result);
  printf("cancelled %d %d %d\n", cancelled, joined, result == PTHREAD_CANCELED);
  pthread_mutex_unlock(&mutex);

  pthread_create(&one, NULL, run_on, NULL);
  while (!running) usleep(1000);
  cancelled = pthread_cancel(one), joined = pthread_join(one, &result);
  printf("cancelled %d %d %d\n", cancelled, joined, result == PTHREAD_CANCELED);

  pthread_key_create(&key, destroy);
  pthread_create(&one, NULL, keep, NULL);
  pthread_join(one, &result);
  printf("destroyed %d, exit value %d\n", destroyed, result == &destroyed);

  HANDLE system[3] = {CreateThread(NULL, 0, keep_in_system_thread, NULL, 0, NULL),
                      CreateThread(NULL, 0, keep_in_system_thread, &key, 0, NULL),
                      (HANDLE)_beginthreadex(NULL, 0, keep_in_c_thread, NULL, 0, NULL)};
  errno = 0;
  WaitForMultipleObjects(3, system, TRUE, INFINITE);
  printf("destroyed %d, errno %d\n", destroyed, errno);

  pthread_barrier_init(&barrier, NULL, 4);
  for (int i = 0; i < 4; ++i) pthread_create(&many[i], NULL, meet, NULL);
  int owns = 0;
  for (int i = 0; i < 4; ++i) {
    pthread_join(many[i], &result);
    owns += (int)(intptr_t)result;
  }
  printf("once %d, serial %d, own objects %d %d\n", inits, serial, owns, own);

  long long sum = 0;
  for (int i = 0; i < kMany; ++i) pthread_create(&many[i], NULL, same, (void*)(intptr_t)i);
  for (int i = 0; i < kMany; ++i) {
    pthread_join(many[i], &result);
    sum += (intptr_t)result;
  }
  printf("many %lld\n", sum);

  struct timespec end;
  clock_gettime(CLOCK_REALTIME, &end);
  end.tv_nsec += 20000000;
  if (end.tv_nsec >= 1000000000) {
    ++end.tv_sec;
    end.tv_nsec -= 1000000000;
  }
  int timed = sem_timedwait(&waiting, &end), why = errno;
  pthread_mutex_lock(&mutex);
  int late = pthread_cond_timedwait(&changed, &mutex, &end);
  printf("timed waits %d %d %d\n", timed, why == ETIMEDOUT, late == ETIMEDOUT);
  standard_threads();
  pthread_create(&one, NULL, same, NULL);
  pthread_detach(one);
  return 0;
}
