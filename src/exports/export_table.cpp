#include "exports/export_table.h"

#include "exports/export_headers.h"
#include "platform/export_names.h"

namespace tarn {
namespace {

template <notation::Name name>
inline constexpr notation::Name kName = name;

#define TARN_FAMILY(title, header)
#define TARN_EXPORT(name, routine) (name),
#define TARN_EXPORT_C(name, routine) (name), kName<notation::make<decltype(&routine)>(name)>.text,
constexpr const char* kRows[] = {
#include "exports/export_rows.inc"
};
#undef TARN_EXPORT
#undef TARN_EXPORT_C

constexpr auto kNames = platform::sort_names<kRows>();

// A switch, as a table of addresses would have to be relocated at each start.
void* routine_at(std::size_t row) {
  constexpr std::size_t kFirst = __COUNTER__ + 1;
  switch (row) {
#define TARN_EXPORT(name, routine) \
  case __COUNTER__ - kFirst:       \
    return reinterpret_cast<void*>(&routine);
#define TARN_EXPORT_C(name, routine) \
  case __COUNTER__ - kFirst:         \
    TARN_EXPORT(name, routine)
#include "exports/export_rows.inc"
  }
  return nullptr;
}

}  // namespace

void* find_export(const char* name) { return routine_at(kNames.find(name)); }

const char* find_export_name(const void* routine) {
  for (std::size_t row = 0; row < sizeof kRows / sizeof kRows[0]; ++row) {
    if (routine_at(row) == routine) return kNames.text(row);
  }
  return nullptr;
}

}  // namespace tarn
