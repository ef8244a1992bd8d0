#include <math.h>

double kept(double number) { return sqrt(number); }
