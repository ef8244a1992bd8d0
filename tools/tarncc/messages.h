// What tarncc says, on standard error, and the exit statuses.
#pragma once

#include <string>

#include "tools/terminal_text.h"

inline constexpr int kDone = 0;
inline constexpr int kRefused = 1;
inline constexpr int kWrongUsage = 2;

// One line, without control characters; the status that belongs to it.
int refuse(const std::string& text);
int usage_error(const std::string& text);
