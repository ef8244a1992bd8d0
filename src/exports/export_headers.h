// Every header whose routines stand in export_rows.inc.
#pragma once

#include "console/colour.h"
#include "console/console_input.h"
#include "console/console_state.h"
#include "console/formatted_output.h"
#include "console/line_output.h"
#include "console/text_writers.h"
#include "exports/cxx_notation.h"
#include "failure/debugger_stubs.h"
#include "failure/decoder.h"
#include "failure/exception_handler.h"
#include "failure/exception_table.h"
#include "failure/floating_point_traps.h"
#include "failure/non_local_jumps.h"
#include "failure/report.h"
#include "failure/runtime_error.h"
#include "failure/safe_memory.h"
#include "failure/traceback.h"
#include "numerics/dot_products.h"
#include "numerics/elementary.h"
#include "numerics/intrinsics.h"
#include "numerics/kinds.h"
#include "numerics/special_functions.h"
#include "services/child_processes.h"
#include "services/execution_profile.h"
#include "services/file_utilities.h"
#include "services/parallel_tasks.h"
#include "services/timing.h"
#include "startup/command_line.h"
#include "startup/configuration.h"
#include "startup/initialise.h"
#include "startup/process_end.h"
#include "startup/runtime_block.h"
#include "storage/expanding_region.h"
#include "storage/heap.h"
#include "storage/secondary_stack.h"
#include "streams/file_stream.h"
#include "streams/float_text.h"
#include "streams/format.h"
#include "streams/low_level_files.h"
#include "streams/number_parse.h"
#include "streams/number_text.h"
#include "streams/scan.h"
#include "strings/c_string.h"
#include "strings/character.h"

namespace tarn::notation {

template <>
inline constexpr const char* record_name<tarn::FILE> = "FILE";

}  // namespace tarn::notation
