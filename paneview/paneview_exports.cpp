#include "paneview/paneview_exports.h"

#include "paneview/paneview.h"
#include "platform/export_names.h"

namespace paneview {
namespace {

constexpr const char* kRows[] = {
#define PANEVIEW_EXPORT(name, routine) name,
#include "paneview/export_rows.inc"
#undef PANEVIEW_EXPORT
};

constexpr auto kNames = tarn::platform::sort_names<kRows>();

}  // namespace

void* find_export(const char* name) {
  constexpr std::size_t kFirst = __COUNTER__ + 1;
  switch (kNames.find(name)) {
#define PANEVIEW_EXPORT(name, routine) \
  case __COUNTER__ - kFirst:           \
    return reinterpret_cast<void*>(&routine);
#include "paneview/export_rows.inc"
  }
  return nullptr;
}

}  // namespace paneview
