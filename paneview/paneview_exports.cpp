#include "paneview/paneview_exports.h"

#include "paneview/paneview.h"
#include "paneview/text.h"

namespace paneview {
namespace {

struct ExportRow {
  const char* name;
  void* routine;
};

#define PANEVIEW_EXPORT(name, routine) {name, reinterpret_cast<void*>(&routine)},
const ExportRow kRows[] = {
#include "paneview/export_rows.inc"
};

}  // namespace

void* find_export(const char* name) {
  for (const ExportRow& row : kRows) {
    if (same_text(row.name, name)) return row.routine;
  }
  return nullptr;
}

}  // namespace paneview
