#include <stdio.h>

__declspec(dllexport) void greet(const char* name) { printf("Hello, %s\n", name); }
