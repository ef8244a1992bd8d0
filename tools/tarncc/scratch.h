// A folder for the files between the steps, which is deleted with its owner. Only
// this user can look into it, and its name cannot be guessed.
#pragma once

#include <filesystem>
#include <string>

struct Scratch {
  std::filesystem::path folder;  // empty if none could be made
  std::string failure;           // then why

  Scratch();
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
};
