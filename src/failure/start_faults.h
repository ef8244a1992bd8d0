// Failures before the library is up. The first steps of an image's script run before
// __initialise_cpplib, and a damaged image may fault there, where nothing reports it.
// That is reported in one line on standard error, or in a message box if there is no such
// thing, and the process ends with status 1:
//
//   part.dll: Access violation (c0000005) at address 1c9fc15d0 in its start-up script,
//   before the library was up: Within file part.dll in touch in line 12, at address 8
//   in prepare in line 31, at address 1c
//
// A static object of a DLL that prints fails so, with an error of the library.
//
// State: what is being reported; the process ends with it.
#pragma once

#include "platform/platform.h"

namespace tarn {

// From now on, until the library is up. Where code of others may handle its own
// faults, only those are reported that happen in a start-up script, in what it has
// called, or in an image of the suite. Called once, before any other script runs.
void watch_start_up(bool others_may_handle);

}  // namespace tarn
