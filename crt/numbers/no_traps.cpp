// The default: IEEE arithmetic. See traps.cpp.
extern "C" {
extern const int tarn_program_traps = 0;
}
