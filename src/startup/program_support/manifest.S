// A program's manifest, as the resource of type 24, name 1, neutral language:
// arguments and file names are UTF-8. The linker merges it with resources of the
// program's own, and drops it for a manifest among them, but only if theirs come
// first: so this is a member of a library.

.macro RESOURCE_FOLDER name, entry
  .long 0, 0
  .short 0, 0, 0, 1
  .long \name, \entry
.endm

.section .rsrc, "dr"
.globl tarn_program_manifest
tarn_program_manifest:
  RESOURCE_FOLDER 24, 0x80000000+.Lnames-tarn_program_manifest
.Lnames:
  RESOURCE_FOLDER 1, 0x80000000+.Llanguages-tarn_program_manifest
.Llanguages:
  RESOURCE_FOLDER 0, .Lfacts-tarn_program_manifest
.Lfacts:
  .rva .Lmanifest
  .long .Lmanifest_end-.Lmanifest, 0, 0
.Lmanifest:
  .incbin "startup/program_support/program.manifest"
.Lmanifest_end:
