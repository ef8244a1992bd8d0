#include "shared_block.h"

#include <stdlib.h>
#include <string.h>
#include <windows.h>

extern "C" {
extern IMAGE_DOS_HEADER __ImageBase;
struct BlockRecord {
  BlockRecord* next;
  const char* name;
  void* address;
  unsigned long long size;
  const char* module;
};
void append_common_spec(BlockRecord* record);
BlockRecord* __get_common_info();
}

namespace {
struct Listed {
  BlockRecord record;
  char name[16];
};
}  // namespace

bool crt::is_program() {
  return GetModuleHandleA(nullptr) == reinterpret_cast<HMODULE>(&__ImageBase);
}

void* crt::find_shared_block(const char* name) {
  for (const BlockRecord* record = __get_common_info(); record; record = record->next) {
    if (strcmp(record->name, name) == 0) return record->address;
  }
  return nullptr;
}

void* crt::shared_block(const char* name, size_t size) {
  if (void* const block = find_shared_block(name)) return block;
  auto* const made = static_cast<Listed*>(calloc(1, sizeof(Listed) + size));
  if (!made) abort();
  strncpy(made->name, name, sizeof made->name - 1);
  made->record = {nullptr, made->name, made + 1, size, made->name + strlen(made->name)};
  append_common_spec(&made->record);
  return made + 1;
}
