// Linked into programs that ask for the library's floating-point traps.
extern "C" {
extern const int tarn_program_traps = 1;
}
