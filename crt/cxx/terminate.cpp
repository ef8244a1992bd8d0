// How a C++ program ends that does not go on: an exception that nobody catches or that
// leaves a noexcept routine, std::terminate, a pure virtual call. It is the library's
// report, headed by the exception's type and what it says, and its frames are those of
// the throw. It takes the place of libstdc++'s handler of that name, in images that have
// libstdc++.
#include <stdlib.h>

#include "../crt.h"
#include "../process/signals.h"
#include "readable_name.h"

// Of libstdc++, as its headers declare them.
namespace std {
class exception {
 public:
  virtual ~exception();
  virtual const char* what() const noexcept;
};
class type_info {
 public:
  virtual ~type_info();
  const char* name;
};
[[noreturn]] void terminate() noexcept;
}  // namespace std

namespace __gnu_cxx {
[[noreturn]] void __verbose_terminate_handler();
}
namespace __cxxabiv1 {
[[noreturn]] void __terminate(void (*)()) noexcept;
extern "C" void* __cxa_get_globals() noexcept;
}  // namespace __cxxabiv1

extern "C" {
extern IMAGE_DOS_HEADER __ImageBase;
[[noreturn]] void suite_text_error(const char* format, ...) __asm__("tarn_suite_text_error");
LONG WINAPI _gnu_exception_handler(EXCEPTION_POINTERS* exception);

std::type_info* __cxa_current_exception_type();
void* __cxa_begin_catch(void* exception) noexcept;
[[noreturn]] void __cxa_pure_virtual();
[[noreturn]] void __cxa_deleted_virtual();
char* __cxa_demangle(const char* name, char* buffer, size_t* size, int* status);
void __cxa_throw(void* object, std::type_info* type, void (*destructor)(void*));
void __cxa_rethrow();
void __cxa_call_terminate(void* exception) noexcept;
void rethrow_exception() __asm__("_ZSt17rethrow_exceptionNSt15__exception_ptr13exception_ptrE")
    __attribute__((weak));
}

namespace {

// The text outlives the frames below the throw, which the report takes.
char text[4096];
char type_name[2048];

using Address = unsigned long long;

template <class Routine>
Address address_of(Routine* routine) {
  return reinterpret_cast<Address>(routine);
}

struct Frames {
  CONTEXT thrower;
  bool by_throw, leaves_noexcept;
};

const CONTEXT* uncaught;  // where the system reported an exception that nobody catches

struct Frame {
  Address base, routine;
};

// The frame of the context, which becomes the caller's; false at the last one.
bool step(CONTEXT* context, Frame* frame) {
  void* data;
  Address establisher;
  if (context->Rip == 0) return false;
  RUNTIME_FUNCTION* const entry = RtlLookupFunctionEntry(context->Rip, &frame->base, nullptr);
  if (!entry) return false;
  frame->routine = frame->base + entry->BeginAddress;
  RtlVirtualUnwind(UNW_FLAG_NHANDLER, frame->base, context->Rip, entry, context, &data,
                   &establisher, nullptr);
  return true;
}

bool is_of_program(const Frame& frame) {
  constexpr char kMark[] = "BRACKENMOOR";  // of a finished image
  return frame.base != 0 &&
         memcmp(reinterpret_cast<const char*>(frame.base) + 0x10, kMark, sizeof kMark - 1) == 0;
}

// Another image throws by routines of its own: they are the first two that are no system's.
void find_thrower_elsewhere(Frames* frames) {
  CONTEXT context = *uncaught;
  Frame frame;
  int routines = 0;
  while (routines < 2 && step(&context, &frame)) routines += is_of_program(frame);
  if (routines == 2) frames->thrower = context;
  frames->by_throw = true;
}

// From here up to the caller of the innermost throw, or of std::terminate if none leads
// to it. The context is the caller's, at the return from the call.
[[gnu::noinline]] void find_thrower(Frames* frames) {
  constexpr int kMostFrames = 64;
  const Address throwing[] = {address_of(__cxa_throw), address_of(__cxa_rethrow),
                              address_of(rethrow_exception)};
  const Address ending[] = {address_of(__gnu_cxx::__verbose_terminate_handler),
                            address_of(__cxxabiv1::__terminate),
                            address_of(std::terminate),
                            address_of(__cxa_pure_virtual),
                            address_of(__cxa_deleted_virtual),
                            address_of(find_thrower)};
  CONTEXT context;
  Frame frame;
  bool at_end = true;  // of the routines that end the program
  frames->by_throw = frames->leaves_noexcept = false;
  RtlCaptureContext(&context);
  frames->thrower = context;
  for (int i = 0; i < kMostFrames && step(&context, &frame); ++i) {
    bool throws = false, ends = false;
    for (const Address one : throwing) throws |= frame.routine == one;
    for (const Address one : ending) ends |= frame.routine == one;
    if (frame.routine == address_of(__cxa_call_terminate)) frames->leaves_noexcept = ends = true;
    at_end &= ends;
    if (at_end || throws) frames->thrower = context;
    if (throws) {
      frames->by_throw = true;
      return;
    }
  }
  if (uncaught) find_thrower_elsewhere(frames);
}

// Appends what fits.
template <size_t kSize>
void append(char (&to)[kSize], const char* more) {
  size_t length = strlen(to);
  while (*more && length + 1 < kSize) to[length++] = *more++;
  to[length] = '\0';
}

void name_type(const std::type_info& type) {
  int status = 0;
  const char* const mangled = type.name + (*type.name == '*' ? 1 : 0);
  char* const name = __cxa_demangle(mangled, nullptr, nullptr, &status);
  append(type_name, status == 0 && name ? name : mangled);
  free(name);
  crt::make_readable(type_name);
}

const char* what_it_says() {
  try {
    throw;
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return nullptr;
  }
}

void describe(const Frames& frames, const std::type_info* type) {
  if (!type) return append(text, "std::terminate was called");
  append(text, frames.leaves_noexcept ? "Exception in a noexcept routine: "
               : frames.by_throw      ? "Uncaught exception "
                                      : "std::terminate was called after ");
  name_type(*type);
  append(text, type_name);
  if (const char* const what = what_it_says()) {
    append(text, ": ");
    append(text, what);
  }
}

// Reports as if the routine of the context had called for it.
[[noreturn]] void report_from(CONTEXT* context) {
  context->Rsp -= sizeof(Address);
  *reinterpret_cast<Address*>(context->Rsp) = context->Rip;
  context->Rip = address_of(suite_text_error);
  context->Rcx = address_of("%s");
  context->Rdx = address_of(text);
  RtlRestoreContext(context, nullptr);
  abort();
}

// An exception that no frame of its thread catches.
void end_uncaught(EXCEPTION_POINTERS* exception) {
  uncaught = exception->ContextRecord;
  __cxa_begin_catch(reinterpret_cast<void*>(exception->ExceptionRecord->ExceptionInformation[0]));
  std::terminate();
}

// The program's own ending counts; a DLL's, where the program is not C++.
__attribute__((constructor)) void take_uncaught_exceptions() {
  crt::on_uncaught = end_uncaught;
  const auto before = SetUnhandledExceptionFilter(_gnu_exception_handler);
  if (before && GetModuleHandleA(nullptr) != reinterpret_cast<HMODULE>(&__ImageBase)) {
    SetUnhandledExceptionFilter(before);
  }
}

[[noreturn, gnu::always_inline]] inline void report_call(const char* what) {
  static Frames frames;
  crt::deliver_abort();
  append(text, what);
  find_thrower(&frames);
  report_from(&frames.thrower);
}

}  // namespace

// By this name tarncc has an image of C++ take it, before libstdc++'s own is found.
extern "C" void tarn_cpp_ends() { __cxxabiv1::__cxa_get_globals(); }

void __gnu_cxx::__verbose_terminate_handler() {
  static Frames frames;
  static bool busy;
  if (__atomic_exchange_n(&busy, true, __ATOMIC_ACQ_REL))
    suite_text_error("std::terminate was called again");
  find_thrower(&frames);
  describe(frames, __cxa_current_exception_type());
  crt::deliver_abort();
  report_from(&frames.thrower);
}

void __cxa_pure_virtual() { report_call("Pure virtual function called"); }
void __cxa_deleted_virtual() { report_call("Deleted virtual function called"); }
