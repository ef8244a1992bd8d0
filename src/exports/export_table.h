// The library's export table: the one place where an exported name meets its
// routine. The rows are in export_rows.inc; the DLL's .def file, its import
// library, the host's look-up and docs/exports.md are made from them.
#pragma once

#include "platform/abi.h"

namespace tarn {

// The routine exported under exactly `name`, or null. Any thread.
void* find_export(const char* name);

// The first name under which the routine is exported, or null. Any thread.
const char* find_export_name(const void* routine);

}  // namespace tarn
