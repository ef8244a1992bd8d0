// What tarncc says, on standard error, and the exit statuses.
#pragma once

#include <string>

inline constexpr int kDone = 0;
inline constexpr int kRefused = 1;
inline constexpr int kWrongUsage = 2;

// Control bytes, which a name may have, as '?'.
std::string printable(std::string text);

// One line; the status that belongs to it.
int refuse(const std::string& text);
int usage_error(const std::string& text);
