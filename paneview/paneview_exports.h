// The sibling library's exports by name, for the host's program runner. On
// Windows the DLL's own export table is made from the same rows.
#pragma once

namespace paneview {

// The routine exported under exactly `name`, or null. Any thread.
void* find_export(const char* name);

}  // namespace paneview
