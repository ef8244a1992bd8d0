#pragma once
#define a_ctz_l(value) __builtin_ctzll(value)
#define a_ctz_32(value) __builtin_ctz(value)
