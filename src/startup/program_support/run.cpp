// The main that the start-up script of a program calls: the user's, and after
// it what the image has to do at its end. Linked into every program whose main
// was compiled by a compiler that has main call __main.

extern "C" {

int user_main(int count, char** arguments) __asm__("main");
void tarn_end_of_image();

// Static initialisers are run by the script, so nothing is left to do.
void __main() {}

// In the routine table it has the interpreter's name, at which a traceback ends.
int tarn_run_program(int count, char** arguments) {
  const int result = user_main(count, arguments);
  tarn_end_of_image();
  return result;
}
}
