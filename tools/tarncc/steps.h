// The single steps; each returns kDone, or the status after a message.
#pragma once

#include <filesystem>

#include "places.h"
#include "request.h"
#include "run_program.h"

struct Job {
  const Request& request;
  const Places& places;
  std::filesystem::path scratch;

  RunOptions run_options() const { return {request.verbose, request.only_print, scratch, {}}; }
};

// Compiles one source, to where the request says; for an image to `object`.
int compile(const Job& job, const Input& source, const std::filesystem::path& object);

// Links all inputs to an image that is not finished; `objects` has what compile made
// of the sources, in their order. A DLL's import library is written beside it.
int link(const Job& job, const Words& objects, const std::filesystem::path& unfinished);

// The name of a DLL's import library; empty if the linker has an option for another.
std::string import_library(const Request& request);
