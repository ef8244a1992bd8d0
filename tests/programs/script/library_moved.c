/* library_moved cells.txt: takes the place where TARNLIBC64.DLL wants to lie,
 * loads it, and checks each cell that its script relocates. cells.txt holds
 * their image offsets. Runs with a run-time of its own. */
#include <stdio.h>
#include <string.h>
#include <windows.h>

static unsigned char file[8 << 20];

/* Where an image offset stands in the file; null if nowhere. */
static const unsigned char* in_file(const IMAGE_NT_HEADERS64* headers, DWORD offset) {
  const IMAGE_SECTION_HEADER* section = IMAGE_FIRST_SECTION(headers);
  for (int i = 0; i < headers->FileHeader.NumberOfSections; ++i, ++section) {
    DWORD within = offset - section->VirtualAddress;
    if (offset >= section->VirtualAddress && within < section->SizeOfRawData) {
      return file + section->PointerToRawData + within;
    }
  }
  return 0;
}

int main(int argc, char** argv) {
  FILE* dll = fopen("TARNLIBC64.DLL", "rb");
  FILE* list = argc > 1 ? fopen(argv[1], "r") : 0;
  if (!dll || !list || fread(file, 1, sizeof file, dll) < 4096) return 2;
  const IMAGE_NT_HEADERS64* headers =
      (const IMAGE_NT_HEADERS64*)(file + ((IMAGE_DOS_HEADER*)file)->e_lfanew);
  char* wanted = (char*)headers->OptionalHeader.ImageBase;
  VirtualAlloc(wanted, 65536, MEM_RESERVE, PAGE_NOACCESS);

  char* base = (char*)LoadLibraryA("TARNLIBC64.DLL");
  printf("%s\n", !base ? "not loaded" : base == wanted ? "not moved" : "moved");
  if (!base || base == wanted) return 1;

  unsigned offset, cells = 0, wrong = 0;
  while (fscanf(list, "%x", &offset) == 1) {
    const unsigned char* before = in_file(headers, offset);
    ULONGLONG linked;
    if (!before) return 2;
    memcpy(&linked, before, 8);
    ++cells;
    wrong += *(ULONGLONG*)(base + offset) != linked + (ULONGLONG)base;
  }
  int (*print)(char*, const char*, ...) =
      (int (*)(char*, const char*, ...))GetProcAddress((HMODULE)base, "sprintf");
  char line[40] = "";
  if (print) print(line, "%s %d", "formatted", 42);
  printf("%s, %u cells, %u wrong\n", line, cells, wrong);
  return cells < 400 || wrong || strcmp(line, "formatted 42") != 0;
}
