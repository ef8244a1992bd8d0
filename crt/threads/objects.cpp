// What C++ keeps of each thread: the exceptions that it handles, and the objects that are
// destroyed when it ends. Every image has a libstdc++ of its own, but an exception that
// leaves one image and is caught in another is counted once, and a thread that one image
// starts ends the objects that another has made for it: so this is one for the process.
// The images share the number of the system's slot.
#include "objects.h"

#include <stdlib.h>

#include "../crt.h"
#include "../images/shared_block.h"

namespace {

struct Object {
  Object* next;
  void (*destructor)(void* object);
  void* object;
  HMODULE image;  // stays loaded until then
};

struct Thread {
  // These two are known to libstdc++.
  void* caught;
  unsigned uncaught;
  Object* objects;  // the last one first
};

struct Shared {
  DWORD slot;
};
constexpr char kName[] = "C++ THREADS";

Shared* find_shared() {
  static Shared* shared;
  if (!shared) shared = static_cast<Shared*>(crt::find_shared_block(kName));
  return shared;
}

// Images of C++ come here in a constructor.
Shared* find_or_make_shared() {
  if (Shared* const shared = find_shared()) return shared;
  auto* const made = static_cast<Shared*>(crt::shared_block(kName, sizeof(Shared)));
  if ((made->slot = TlsAlloc()) == TLS_OUT_OF_INDEXES) abort();
  return made;
}

Thread* current_thread() {
  const DWORD slot = find_or_make_shared()->slot;
  auto* thread = static_cast<Thread*>(TlsGetValue(slot));
  if (thread) return thread;
  thread = static_cast<Thread*>(calloc(1, sizeof(Thread)));
  if (!thread) abort();
  TlsSetValue(slot, thread);
  return thread;
}

}  // namespace

CRT_API void* __cxa_get_globals() { return current_thread(); }
CRT_API void* __cxa_get_globals_fast() { return current_thread(); }

CRT_API int __cxa_thread_atexit(void (*destructor)(void*), void* object, void*) {
  auto* const made = static_cast<Object*>(malloc(sizeof(Object)));
  if (!made) return -1;
  HMODULE image = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<const wchar_t*>(destructor), &image);
  Thread* const thread = current_thread();
  *made = {thread->objects, destructor, object, image};
  thread->objects = made;
  return 0;
}

void crt::end_thread_objects() {
  const Shared* const shared = find_shared();
  auto* const thread = shared ? static_cast<Thread*>(TlsGetValue(shared->slot)) : nullptr;
  if (!thread) return;
  while (Object* const last = thread->objects) {
    thread->objects = last->next;  // it may register more
    last->destructor(last->object);
    FreeLibrary(last->image);
    free(last);
  }
}

void crt::forget_thread() {
  const Shared* const shared = find_shared();
  if (!shared) return;
  free(TlsGetValue(shared->slot));
  TlsSetValue(shared->slot, nullptr);
}
