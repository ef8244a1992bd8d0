// What C++ keeps of each thread: the exceptions that it handles, and the objects that are
// destroyed when it ends. Every image has a libstdc++ of its own, but an exception that
// leaves one image and is caught in another is counted once, and a thread that one image
// starts ends the objects that another has made for it: so this is one for the process.
// The images find it by a common block, which the library lists, with the number of the
// system's slot.
#include "objects.h"

#include <stdlib.h>
#include <string.h>

#include "../crt.h"

extern "C" {
struct BlockRecord {
  BlockRecord* next;
  const char* name;
  void* address;
  unsigned long long size;
  const char* module;
};
void append_common_spec(BlockRecord* record);
BlockRecord* __get_common_info();
}

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
  char name[16];
  BlockRecord record;
};
constexpr char kName[] = "C++ THREADS";

Shared* find_shared() {
  static Shared* shared;
  for (BlockRecord* record = shared ? nullptr : __get_common_info(); record && !shared;
       record = record->next) {
    if (strcmp(record->name, kName) == 0) shared = static_cast<Shared*>(record->address);
  }
  return shared;
}

// Images of C++ come here in a constructor, one after the other.
Shared* find_or_make_shared() {
  if (Shared* const shared = find_shared()) return shared;
  auto* const made = static_cast<Shared*>(calloc(1, sizeof(Shared)));
  if (!made || (made->slot = TlsAlloc()) == TLS_OUT_OF_INDEXES) abort();
  strcpy(made->name, kName);
  made->record = {nullptr, made->name, made, sizeof made->slot, made->name + sizeof kName - 1};
  append_common_spec(&made->record);
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
