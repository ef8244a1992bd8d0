#include "failure/traceback.h"

#include "failure/decoder/decoder.h"
#include "failure/image_tables.h"
#include "failure/safe_memory.h"
#include "failure/unwind_data.h"
#include "platform/pe_format.h"
#include "streams/format.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::uint64_t kImageStep = 0x1000;
constexpr std::uint64_t kImageAlignment = 0xFFFFFFFF0000;  // a 64 kB boundary, user half
constexpr std::uint32_t kSymbolRecordSize = 0x420;
constexpr std::uint32_t kSymbolNameSize = 0x400;

constexpr std::uint64_t kFrameSize = kLongestRoutineName + 64;

char last_module[kImageNameSize] = "-";
bool no_heap;
bool frame_shown;
char frame_inside[kFrameSize];  // of a fault inside the image's run-time, until it is known who
                                // called

// ---- Images -------------------------------------------------------------------

struct ImageOfFrame {
  std::uint64_t base;
  bool is_pe;
  bool has_table;
  bool is_library;  // the run-time library or its sibling
  char name[kImageNameSize];
};

bool name_image(std::uint64_t base, ImageOfFrame* image) {
  if (!image_name(base, image->name)) return false;
  image->is_library =
      strcmpl(image->name, "TARNLIBC64.DLL") == 0 || strcmpl(image->name, "PANEVIEW64.DLL") == 0;
  image->base = base;
  return true;
}

bool begins_with_mz(std::uint64_t address) {
  std::uint16_t magic = 0;
  safe_memory_read(address, &magic, sizeof magic);
  return magic == pe::kDosMagic;
}

// The module list says which image holds Rip; an address of none ends the walk
// at once. An image that removed its mark is skipped: the next one below that
// begins with "MZ" is used in its place.
bool find_image(std::uint64_t rip, ImageOfFrame* image) {
  const std::uint64_t base = rip == 0 ? 0 : image_at(rip);
  if (base == 0) return false;
  std::uint32_t first_word = 0;
  safe_memory_read(base, &first_word, sizeof first_word);
  constexpr std::uint32_t kNoteMark = 0x45544F4E;  // "NOTE"
  if (first_word != kNoteMark) {
    image->is_pe = begins_with_mz(base);
    image->has_table = image->is_pe && is_marked_image(base);
    return name_image(base, image);
  }
  std::uint64_t at = rip & kImageAlignment;
  for (int page = 0; page < kImageSearchPages; ++page, at -= kImageStep) {
    if (!begins_with_mz(at) || !name_image(at, image)) continue;
    image->is_pe = true;
    image->has_table = is_marked_image(at);
    return true;
  }
  return false;
}

void describe_routine(const RoutinePlace& routine, char* text) {
  if (routine.line == 0) {
    sprintf(text, "in %s at address %x\n", routine.name, routine.offset);
  } else {
    sprintf(text, "in %s in line %d, at address %x\n", routine.name, routine.line, routine.offset);
  }
}

// ---- Prologues ------------------------------------------------------------------

bool begins_with(const char* text, const char* beginning) {
  while (*beginning) {
    if (*text++ != *beginning++) return false;
  }
  return true;
}

void return_to_caller(platform::AMD_CONTEXT* context) {
  context->Rip = safe_core8(context->Rsp);
  context->Rsp += 8;
}

// The size of a large frame, set in rax at `*at`, which moves past it. The
// five-byte form of the move is the ordinary compilers'; the decoder, which
// knows the suite's code, has no row for it.
bool read_large_frame(std::uint64_t* at, const char* text, std::uint64_t behind,
                      std::uint64_t* size) {
  constexpr std::uint8_t kMoveToEax = 0xB8;
  if (static_cast<std::uint8_t>(safe_core1(*at)) == kMoveToEax) {
    *size = static_cast<std::uint32_t>(safe_core4(*at + 1));
    *at += 5;
    return true;
  }
  if (!begins_with(text, "mov RAX,") && !begins_with(text, "mov_q RAX,")) return false;
  *size = static_cast<std::uint64_t>(get_idecode_immediate_value());
  *at = behind;
  return true;
}

// ---- Steps ------------------------------------------------------------------------

char* end_of(char* text) {
  while (*text) ++text;
  return text;
}

// One step of the walker: the name of the frame of `context` if it has one, and
// its place in the routine; `context` becomes the caller's. A frame whose
// caller the walker does not find leaves a Rip of 0.
bool step_by_walker(platform::Handle process, platform::AMD_CONTEXT* context, bool continue_walk,
                    RoutinePlace* routine) {
  static bool initialised;
  static platform::StackFrame64 frame;
  static union {
    platform::Symbol64 symbol;
    char storage[kSymbolRecordSize];
  } record;
  if (!initialised) {
    initialised = true;
    if (!platform::SymInitialize(process, nullptr, 1)) {
      char message[64];
      sprintf(message, "SymInitialize failure %x\n", platform::GetLastError());
      platform::MessageBoxA(nullptr, message, "BrackenMoor exception handler has failed", 0);
      platform::ExitProcess(1);
    }
  }
  if (!continue_walk) {
    frame = {};
    frame.pc = {context->Rip, context->SegCs, platform::kFlatAddress};
    frame.stack = {context->Rsp, context->SegSs, platform::kFlatAddress};
    frame.frame = {context->Rbp, context->SegSs, platform::kFlatAddress};
  }
  const std::uint64_t rip = context->Rip;
  record.symbol = {};
  record.symbol.size_of_struct = sizeof(platform::Symbol64);
  record.symbol.longest_name = kSymbolNameSize;
  std::uint64_t displacement = 0;
  const bool named =
      platform::SymGetSymFromAddr64(process, rip, &displacement, &record.symbol) != 0;
  if (named) {
    record.storage[sizeof record.storage - 1] = '\0';
    strncpy(routine->name, record.symbol.name, kLongestRoutineName);
    routine->name[kLongestRoutineName] = '\0';
    routine->offset = static_cast<std::uint32_t>(displacement);
    routine->line = 0;
  }
  // The walker's first step describes this frame, the second finds its caller.
  bool found = true;
  for (int step = continue_walk ? 1 : 0; step < 2 && found; ++step) {
    found = platform::StackWalk64(platform::kMachineAmd64, process, process, &frame, context,
                                  nullptr, &local_SymFunctionTableAccess64,
                                  &local_SymGetModuleBase64, nullptr) != 0;
  }
  context->Rip = found && frame.pc.offset != rip ? frame.pc.offset : 0;
  context->Rsp = frame.stack.offset;
  return named;
}

// Their own code saves registers as it likes, so it is stepped over by unwind
// data; of their routines only those that programs call have a name. True if
// the frame was shown, or is one of those that are not to be shown.
bool pass_library_frame(const ImageOfFrame& image, FramePlace place, RoutinePlace* routine,
                        platform::AMD_CONTEXT* context, char* text) {
  bool named = image.has_table && find_routine(image.base, context->Rip, place, routine);
  const UnwindStep step =
      image.is_pe ? unwind_by_image_data(image.base, context) : UnwindStep::kNoRecords;
  if (step == UnwindStep::kLost && no_heap) {
    context->Rip = 0;  // the walk ends
    return false;
  }
  if (step != UnwindStep::kStepped) {
    static RoutinePlace by_walker;
    const bool walker_names = step_by_walker(current_process_handle, context, false, &by_walker);
    if (!named && walker_names) *routine = by_walker;
    named |= walker_names;
  }
  if (hide_library_frames) return true;
  if (named) describe_routine(*routine, text);
  return named;
}

// The caller of a routine of the program: by its prologue if that is one of the
// suite's forms, else by the image's unwind data. False if these lead nowhere:
// the stack is damaged. The context of an image without such data stays.
bool step_to_caller(const ImageOfFrame& image, const RoutinePlace& routine,
                    platform::AMD_CONTEXT* context) {
  const std::uint64_t rip = context->Rip;
  const std::uint64_t rsp = context->Rsp;
  find_previous_frame(context, routine.start);
  if (context->Rip != rip || context->Rsp != rsp) return true;
  return unwind_by_image_data(image.base, context) != UnwindStep::kLost;
}

// Which frame at Rip the walk is at. The context is left as that of a caller has to be,
// unless the step to it finds otherwise.
FramePlace take_place(platform::AMD_CONTEXT* context) {
  const std::uint32_t flags = context->ContextFlags;
  context->ContextFlags = (flags & ~platform::kContextLevels) | platform::kContextAtCall;
  return {(flags & platform::kContextAtCall) != 0,
          (flags & platform::kContextLevels) / platform::kContextOneLevel};
}

// Back to the same Rip, one level up. False after the last level that there is room for.
bool pass_inlined_call(FramePlace place, platform::AMD_CONTEXT* context) {
  const std::uint32_t levels = (place.level + 1) * platform::kContextOneLevel;
  if (levels > platform::kContextLevels) return false;
  if (!place.at_call) context->ContextFlags &= ~platform::kContextAtCall;
  context->ContextFlags |= levels;
  return true;
}

bool pass_frame(const ImageOfFrame& image, const RoutinePlace& routine, FramePlace place,
                platform::AMD_CONTEXT* context) {
  if (routine.is_inlined && pass_inlined_call(place, context)) return true;
  return step_to_caller(image, routine, context);
}

bool is_silent(const RoutinePlace& routine) {
  if (routine.owner == RoutineOwner::kProgram) return false;
  return hide_library_frames || (routine.owner == RoutineOwner::kInsideRunTime && frame_shown);
}

// A fault inside the run-time is shown as one of the routine that the program called, if that
// comes next. Returns the end of the text.
char* end_frames_inside(bool called_next, char* text) {
  if (frame_inside[0] && !called_next) strcpy(text, frame_inside);
  frame_shown |= frame_inside[0] != '\0';
  frame_inside[0] = '\0';
  return end_of(text);
}

// True after a frame that was shown, or is counted as if it were.
bool step_back(char** end, platform::AMD_CONTEXT* context) {
  static ImageOfFrame image;  // large, and the report has one thread
  static RoutinePlace routine;
  shown_frame = {};
  char*& text = *end;
  for (int unnamed = 0; unnamed < kUnnamedFrames; ++unnamed) {
    if (!find_image(context->Rip, &image)) return false;
    const FramePlace place = take_place(context);
    const bool by_table = !image.is_library && image.has_table;
    const bool found = by_table && find_routine(image.base, context->Rip, place, &routine);
    walk_is_hosted |=
        found && (routine.levels_are_frames || routine.owner != RoutineOwner::kProgram);
    if (found && is_silent(routine)) {
      if (!pass_frame(image, routine, place, context)) return false;
      continue;
    }
    if (!image.is_library) hide_library_frames = 0;
    const bool is_inside = found && routine.owner == RoutineOwner::kInsideRunTime;
    if (!is_inside) {
      text = end_frames_inside(found && routine.owner == RoutineOwner::kRunTime, text);
    }
    if (strcmpl(image.name, last_module) != 0) {
      if (!hide_library_frames) {
        sprintf(text, "Within file %s\n", image.name);
        text = end_of(text);
      }
      strcpy(last_module, image.name);
    }
    if (image.is_library) {
      if (pass_library_frame(image, place, &routine, context, text)) return true;
      continue;
    }
    if (!image.has_table && image.is_pe && no_heap) {
      if (unwind_by_image_data(image.base, context) != UnwindStep::kStepped) return false;
      continue;
    }
    if (!image.has_table) {
      if (FetchMicrosoftStack(current_process_handle, context, 0, text)) return true;
      continue;
    }
    if (!found || strcmpl(routine.name, kStartRoutine) == 0) return false;
    describe_routine(routine, is_inside ? frame_inside : text);
    shown_frame = {image.base, context->Rip, place};
    const bool more = pass_frame(image, routine, place, context);
    if (!is_inside || !more) return more;
  }
  return false;
}

}  // namespace

std::int32_t hide_library_frames;
bool walk_is_hosted;
constinit ShownFrame shown_frame = {};

void begin_traceback(bool without_heap) {
  no_heap = without_heap;
  strcpy(last_module, "-");
  frame_shown = false;
  frame_inside[0] = '\0';
  walk_is_hosted = false;
}

TARN_MACHINERY std::int32_t trace_back_once(platform::Handle, char* text,
                                            platform::AMD_CONTEXT* context) {
  *text = '\0';
  char* end = text;
  const bool more = step_back(&end, context);
  if (!more) end_frames_inside(false, end_of(end));
  frame_shown |= *text != '\0' && !frame_inside[0];
  return more ? 1 : 0;
}

TARN_MACHINERY void find_previous_frame(platform::AMD_CONTEXT* context, std::uint64_t first_byte) {
  char text[kInstructionTextSize];
  std::uint64_t at = first_byte;
  decode_remote_instruction(current_process_handle, text, at);
  squash_buffer(text);
  if (begins_with(text, "sub_q RSP,")) {
    if (at <= context->Rip) {
      context->Rsp += static_cast<std::uint64_t>(get_idecode_immediate_value());
    }
    return_to_caller(context);
    return;
  }
  std::uint64_t call = first_byte;
  std::uint64_t size = 0;
  if (!read_large_frame(&call, text, at, &size)) return;
  std::uint64_t behind_call = call;
  decode_remote_instruction(current_process_handle, text, behind_call);
  if (!begins_with(text, "call ")) return;
  constexpr std::uint64_t kOnSubtraction = 6;  // past the call, inside the subtraction
  if (call + kOnSubtraction < context->Rip) context->Rsp += size;
  return_to_caller(context);
}

TARN_MACHINERY std::int32_t FetchMicrosoftStack(platform::Handle process,
                                                platform::AMD_CONTEXT* context,
                                                std::int32_t continue_walk, char* text) {
  static RoutinePlace routine;
  if (!step_by_walker(process, context, continue_walk != 0, &routine)) return 0;
  sprintf(text, "In  %s at address %p\n", routine.name, routine.offset);
  return 1;
}

TARN_MACHINERY std::uint64_t local_SymGetModuleBase64(platform::Handle process,
                                                      std::uint64_t address) {
  return platform::SymGetModuleBase64(process, address);
}

TARN_MACHINERY void* local_SymFunctionTableAccess64(platform::Handle process,
                                                    std::uint64_t address) {
  return platform::SymFunctionTableAccess64(process, address);
}

void squash_buffer(char* text) {
  char* to = text;
  for (const char* from = text; *from; ++from) {
    if (*from != ' ' || from == text || from[-1] != ' ') *to++ = *from;
  }
  *to = '\0';
}

TARN_MACHINERY_PART("1") std::uint64_t first_address() {
  return reinterpret_cast<std::uint64_t>(&first_address);
}

TARN_MACHINERY_PART("3") std::uint64_t last_address() {
  return reinterpret_cast<std::uint64_t>(&last_address);
}

std::int32_t is_system_callback(std::uint64_t address) {
  return first_address() <= address && address <= last_address();
}

}  // namespace tarn
