// Never linked: compiled to assembly, in which each row of the export table
// leaves a line "#ROW symbol" with the symbol that this compiler assigns to the
// routine. The .def file of the DLL is made from these lines.

#include "exports/export_headers.h"

namespace tarn {

#define TARN_FAMILY(title, header)
#define TARN_EXPORT(name, routine) asm volatile("\n#ROW %c0" : : "i"(&routine));
#define TARN_EXPORT_C(name, routine) \
  TARN_EXPORT(name, routine)         \
  TARN_EXPORT(name, routine)

void list_export_symbols() {
#include "exports/export_rows.inc"
}

}  // namespace tarn
