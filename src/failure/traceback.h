// The way back from a fault, one frame at a time, in the user's terms.
//
// Images of the suite carry a routine table and line tables; their frames are
// named from these, and the caller is found by decoding the routine's prologue or,
// where that has another form, by the image's unwind data. A call that was inlined is
// a frame of its own where the tables list it: the routine that the code is from, then the
// one that it was inlined into, with the line of the call, at the same address.
// All other frames are stepped over by the system's stack walker. The frames of
// the run-time library and its sibling show only if the fault happened in them:
// for a raised number they are passed silently, and they too are stepped over
// by the walker. So are those of the run-time in the image itself, its compiler's libraries and
// headers included, where that raised it; and always those inside it that no program calls, but
// for a fault in one that nobody but the program has called.
//
// State: the module of the last frame, the walker's record, and
// hide_library_frames. For one thread at a time, inside the report.
//
// Nothing here faults or runs for ever, whatever the context, the stack or an
// image's tables hold:
//   an image is looked for through at most kImageSearchPages pages below Rip;
//   an image's tables are read within the bounds of failure/image_tables.h and
//   failure/unwind_data.h;
//   at most kUnnamedFrames frames without a name are passed in one step;
//   one step appends at most kTraceStepSize bytes, names are cut to fit.
#pragma once

#include "failure/exception_table.h"
#include "failure/image_tables.h"
#include "platform/platform.h"

namespace tarn {

inline constexpr std::uint64_t kTraceStepSize = 4096;
inline constexpr int kImageSearchPages = 16'384;  // 64 MiB
inline constexpr int kUnnamedFrames = 64;

// Set while the frames of the two libraries are not to be shown; cleared by the
// first frame outside them.
extern std::int32_t hide_library_frames;

// Set by a frame of an image whose tables list inlined code, or say which routines are its
// run-time's, as those of hosted programs do.
extern bool walk_is_hosted;

// The steps from here on are those of a new walk. Without the heap, which
// matters on Windows, frames of other code are skipped without a name.
void begin_traceback(bool without_heap);

// Where the frame that the last step appended was; an image of 0 if its image has no tables
// of its routines.
struct ShownFrame {
  std::uint64_t image, address;
  FramePlace place;
};
extern ShownFrame shown_frame;

// Appends a description of the frame of `context` to `text`, and makes
// `context` that of the caller: its Rip and Rsp, or for an inlined call its
// ContextFlags alone. 1: there may be more; 0: the walk is over.
TARNAPI std::int32_t trace_back_once(platform::Handle process, char* text,
                                     platform::AMD_CONTEXT* context);

// Steps `context` to the caller by the prologue at `first_byte`: one subtraction
// from rsp, or a size in rax, a call of the stack probe and the subtraction.
// Any other prologue leaves the context as it is.
TARNAPI void find_previous_frame(platform::AMD_CONTEXT* context, std::uint64_t first_byte);

// The same by the system's walker, which also names the frame. With
// `continue_walk` the walker's record goes on from its last frame. 1 if the
// frame was described; 0 if it has no name: `text` is then left alone, while
// the context has moved on all the same. A frame whose caller the walker does
// not find leaves a Rip of 0.
TARNAPI std::int32_t FetchMicrosoftStack(platform::Handle process, platform::AMD_CONTEXT* context,
                                         std::int32_t continue_walk, char* text);

// The walker's callbacks.
TARNAPI std::uint64_t local_SymGetModuleBase64(platform::Handle process, std::uint64_t address);
TARNAPI void* local_SymFunctionTableAccess64(platform::Handle process, std::uint64_t address);

// Replaces each run of spaces by one space, in place.
TARNAPI void squash_buffer(char* text);

// The bounds of the exception machinery's code, and whether an address lies in
// it: 1 or 0. The machinery's routines are in code sections that the linker
// sorts between these two.
TARNAPI std::uint64_t first_address();
TARNAPI std::uint64_t last_address();
TARNAPI std::int32_t is_system_callback(std::uint64_t address);

// For the routines of the machinery, and for its two ends.
#ifdef _WIN32
#define TARN_MACHINERY_PART(part) __attribute__((section(".text$tarn_machinery" part), noinline))
#else
#define TARN_MACHINERY_PART(part) \
  __attribute__((section(".text.sorted.tarn_machinery" part), noinline))
#endif
#define TARN_MACHINERY TARN_MACHINERY_PART("2")

}  // namespace tarn
