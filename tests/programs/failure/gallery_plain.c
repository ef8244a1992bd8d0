/* The gallery as an ordinary compiler makes it: pushes, saved registers, no
 * fixed prologue. Its reports must be the same. */
#include "gallery.c"
