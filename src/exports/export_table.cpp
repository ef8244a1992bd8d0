#include "exports/export_table.h"

#include "exports/export_headers.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

struct ExportRow {
  const char* name;
  void* routine;
};

template <notation::Name name>
inline constexpr notation::Name kName = name;

#define TARN_FAMILY(title, header)
#define TARN_EXPORT(name, routine) {name, reinterpret_cast<void*>(&routine)},
#define TARN_EXPORT_C(name, routine)         \
  {name, reinterpret_cast<void*>(&routine)}, \
      {kName<notation::make<decltype(&routine)>(name)>.text, reinterpret_cast<void*>(&routine)},
const ExportRow kRows[] = {
#include "exports/export_rows.inc"
};

}  // namespace

void* find_export(const char* name) {
  for (const ExportRow& row : kRows) {
    if (strcmp(row.name, name) == 0) return row.routine;
  }
  return nullptr;
}

const char* find_export_name(const void* routine) {
  for (const ExportRow& row : kRows) {
    if (row.routine == routine) return row.name;
  }
  return nullptr;
}

}  // namespace tarn
