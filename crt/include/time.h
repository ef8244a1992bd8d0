// time.h of the cross compiler, and what it lacks of ISO C.
#include_next <time.h>

#ifndef TIME_UTC
#define TIME_UTC 1
#ifdef __cplusplus
extern "C"
#endif
    // The time since 1970. Result: `base`, or 0 if that is not TIME_UTC.
    int
    timespec_get(struct timespec* now, int base);
#endif
