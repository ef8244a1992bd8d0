// Never linked: compiled to assembly, in which each export row leaves a line
// "#ROW symbol" with the symbol that this compiler assigns to the routine, in the
// order of the rows. export_files.awk makes the link files from these lines.

#include "paneview/paneview.h"

namespace paneview {

#define PANEVIEW_EXPORT(name, routine) asm volatile("\n#ROW %c0" : : "i"(&routine));

void list_export_symbols() {
#include "paneview/export_rows.inc"
}

}  // namespace paneview
