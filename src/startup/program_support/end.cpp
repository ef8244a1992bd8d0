// The end of an image: destructors of static objects, of which the compiler
// registers each when the object is made. They run when main returns, the last
// one first, then those of the DLLs that the image is linked to. The library's `exit`
// and a failure end the process at once, without them. A hosted program's `exit` runs
// them, and those of hosted DLLs that were loaded by name; so does FreeLibrary.
//
// A DLL exports tarn_end_of_image, and importers find it by that name.

extern "C" {

void* malloc(unsigned long long size);
void free(void* block);
void* ProcessDynt(const char* routine, const char* library);

extern const unsigned char image_base[] __asm__("__ImageBase");
// The linker's list of routines of attribute `destructor`: a mark, their image
// offsets, which finish_image puts there, and a 0.
extern const unsigned long long destructor_list[] __asm__("__DTOR_LIST__");

using Destructor = void (*)(void* object);

void (*tarn_before_end)();  // a hosted DLL's
void tarn_end_of_objects();
void tarn_end_of_image();
}

namespace {

struct Registration {
  Registration* next;
  Destructor destructor;
  void* object;
};

Registration* registrations;  // the last one first
bool objects_ended, ended;

bool register_destructor(Destructor destructor, void* object) {
  auto* const made = static_cast<Registration*>(malloc(sizeof(Registration)));
  if (!made) return false;
  *made = {__atomic_load_n(&registrations, __ATOMIC_RELAXED), destructor, object};
  while (!__atomic_compare_exchange_n(&registrations, &made->next, made, true, __ATOMIC_RELEASE,
                                      __ATOMIC_RELAXED)) {
  }
  return true;
}

void run_registrations() {
  while (Registration* const last = registrations) {
    registrations = last->next;  // it may register more
    const Registration now = *last;
    free(last);
    now.destructor(now.object);
  }
}

unsigned word_at(unsigned long long offset) {
  return *reinterpret_cast<const unsigned*>(image_base + offset);
}

// Its import directory, one record per DLL with the DLL's name in the fourth
// word, is as the linker made it.
void end_libraries() {
  constexpr unsigned kNewHeader = 0x3C, kImportDirectory = 0x90, kRecordSize = 20, kName = 12;
  unsigned record = word_at(word_at(kNewHeader) + kImportDirectory);
  if (record == 0) return;
  for (; word_at(record + kName) != 0; record += kRecordSize) {
    const auto* const library = reinterpret_cast<const char*>(image_base + word_at(record + kName));
    const auto end = reinterpret_cast<void (*)()>(ProcessDynt("tarn_end_of_image", library));
    if (end) end();
  }
}

}  // namespace

extern "C" {

int atexit(void (*routine)()) {
  return register_destructor(reinterpret_cast<Destructor>(routine), nullptr) ? 0 : -1;
}

int __cxa_atexit(Destructor destructor, void* object, void*) {
  return register_destructor(destructor, object) ? 0 : -1;
}

void tarn_end_of_objects() {
  if (objects_ended) return;
  objects_ended = true;
  if (tarn_before_end) tarn_before_end();
  run_registrations();
  for (const auto* offset = destructor_list + 1; *offset != 0; ++offset) {
    reinterpret_cast<void (*)()>(const_cast<unsigned char*>(image_base) + *offset)();
  }
  run_registrations();
}

// Once, though several images may be linked to a DLL, or DLLs to each other.
void tarn_end_of_image() {
  if (ended) return;
  ended = true;
  tarn_end_of_objects();
  end_libraries();
}
}
