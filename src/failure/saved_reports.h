// Reports that are saved without being asked: the environment variable
// TARN_REPORT_FOLDER names a folder that exists, and each report is saved there in a file of its
// own, whose name nobody can foretell and which was not there before.
//
// State: the folder and the random part of the name, which initialisation settles, so that a
// report needs no more than to open a file.
#pragma once

#include "platform/platform.h"

namespace tarn {

inline constexpr char kReportFolderVariable[] = "TARN_REPORT_FOLDER";
inline constexpr std::uint64_t kSavedPathSize = 1024;

// Reads the variable. Part of initialisation.
void settle_report_folder();

// Whether reports are to be saved.
bool saves_reports();

// The folder, as the variable has it.
const char* report_folder();

// Writes the path for a report of now to `path`, which has kSavedPathSize bytes. Null, or
// why there is none.
const char* name_saved_report(char* path);

// Why the system refused to make or write the file, in words.
const char* saving_problem(std::uint32_t code);

}  // namespace tarn
