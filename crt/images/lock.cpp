#include "lock.h"

bool crt::has_threads;
