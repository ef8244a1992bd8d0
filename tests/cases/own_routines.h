// Routines of the driver that rows may call or pass: comparators, and files as
// their bytes.
#pragma once

#include <string>

namespace tarn::cases {

void* find_own_routine(const std::string& name);  // or null

}  // namespace tarn::cases
