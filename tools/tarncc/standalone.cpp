#include "standalone.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "beside_image.h"
#include "messages.h"
#include "platform/carried_files.h"
#include "tools/finish_image/image.h"
#include "tools/read_file.h"

namespace {

namespace fs = std::filesystem;
namespace pe = tarn::pe;
using finisher::Bytes;
using tarn::platform::CarriedEntry;
using tarn::platform::CarriedRecord;

// What tarnrun has of its own.
constexpr const char* kRunnersOwn[] = {"tarnlibc64.dll", "paneview64.dll", "kernel32.dll",
                                       "bcrypt.dll", "advapi32.dll"};

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Where DLLs that were linked are: beside the image, the libraries and objects, in -L.
std::vector<fs::path> library_folders(const Request& request) {
  std::vector<fs::path> folders = {fs::path(request.output).parent_path(), "."};
  bool next = false;
  for (const Input& input : request.inputs) {
    if (next) {
      folders.push_back(input.word);
    } else if (!input.is_source && input.word.starts_with("-L")) {
      if (input.word.size() > 2) folders.push_back(input.word.substr(2));
    } else if (!input.word.starts_with('-')) {
      folders.push_back(fs::path(input.word).parent_path());
    }
    next = !input.is_source && input.word == "-L";
  }
  return folders;
}

fs::path find_library(const std::string& name, const std::vector<fs::path>& folders) {
  for (const fs::path& folder : folders) {
    std::error_code error;
    for (const fs::directory_entry& entry :
         fs::directory_iterator(folder.empty() ? "." : folder, error)) {
      if (lower(entry.path().filename().string()) == lower(name)) return entry.path();
    }
  }
  return {};
}

// Throws finisher::ImageError.
Words imported_libraries(const Bytes& file) {
  finisher::Image image = finisher::read_image(file);
  if (!image.is_finished()) finisher::refuse("was not made by tarncc");
  Words names;
  const pe::DataDirectory& imports = image.headers.optional.directories[pe::kImportDirectory];
  for (std::uint64_t at = imports.offset; imports.size != 0; at += sizeof(pe::ImportDescriptor)) {
    const std::uint32_t name =
        finisher::read_u32(image, at + offsetof(pe::ImportDescriptor, name), "an imported library");
    if (name == 0) break;
    names.push_back(finisher::read_text(image, name, "the name of an imported library"));
  }
  return names;
}

struct Carried {
  std::string name;
  Bytes bytes;
};

// The program, and every library that it or another of them needs.
int collect(const Job& job, std::vector<Carried>* all) {
  const Request& request = job.request;
  const std::vector<fs::path> folders = library_folders(request);
  const fs::path folder = fs::path(request.output).parent_path();
  std::vector<fs::path> files = {request.output};
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::string shown = files[i].string();
    Carried one{files[i].filename().string(), {}};
    if (read_file(files[i].string(), &one.bytes)) return refuse(shown + ": cannot be read");
    if (one.name.size() >= sizeof CarriedEntry::name)
      return refuse(shown + ": has too long a name");
    if (i > 0) {
      if (const int status = put_beside_image(files[i], folder)) return status;
    }
    try {
      for (const std::string& library : imported_libraries(one.bytes)) {
        const auto is_known = [&library](const auto& name) {
          return lower(fs::path(name).filename().string()) == lower(library);
        };
        if (std::any_of(std::begin(kRunnersOwn), std::end(kRunnersOwn), is_known) ||
            std::any_of(files.begin(), files.end(), is_known)) {
          continue;
        }
        files.push_back(find_library(library, folders));
        if (files.back().empty())
          return refuse(shown + ": needs " + library + ", which is not beside it");
      }
    } catch (const finisher::ImageError& error) {
      return refuse(shown + ": " + error.text);
    }
    all->push_back(std::move(one));
  }
  if (all->size() > tarn::platform::kMostCarried)
    return refuse(request.output + ": needs too many DLLs");
  return kDone;
}

template <typename Value>
void append(Bytes* to, const Value& value) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&value);
  to->insert(to->end(), bytes, bytes + sizeof value);
}

void pad(Bytes* bytes, std::uint64_t unit) {
  bytes->resize((bytes->size() + unit - 1) / unit * unit);
}

Bytes packed(const std::vector<Carried>& all) {
  constexpr std::uint64_t kFileUnit = 16;
  Bytes bytes, files;
  append(&bytes, std::uint64_t{all.size()});
  std::uint64_t begin = sizeof(std::uint64_t) + all.size() * sizeof(CarriedEntry);
  for (const Carried& one : all) {
    CarriedEntry entry{};
    std::memcpy(entry.name, one.name.data(), one.name.size());
    entry.begin = begin + files.size();
    entry.size = one.bytes.size();
    append(&bytes, entry);
    files.insert(files.end(), one.bytes.begin(), one.bytes.end());
    pad(&files, kFileUnit);
  }
  bytes.insert(bytes.end(), files.begin(), files.end());
  return bytes;
}

// The runner's record in its file; null unless there is exactly one that is empty.
std::uint8_t* find_record(Bytes* runner) {
  constexpr CarriedRecord kEmpty = tarn::platform::empty_carried_record();
  const auto* const begin = reinterpret_cast<const std::uint8_t*>(&kEmpty);
  const auto* const end = begin + sizeof kEmpty;
  const auto found = std::search(runner->begin(), runner->end(), begin, end);
  if (found == runner->end()) return nullptr;
  const bool only = std::search(found + 1, runner->end(), begin, end) == runner->end();
  return only ? &*found : nullptr;
}

}  // namespace

int make_standalone(const Job& job) {
  const Request& request = job.request;
  if (job.run_options().print) {
    std::fprintf(stderr, "%s + %s -> %s\n", job.places.runner.string().c_str(),
                 request.output.c_str(), request.standalone.c_str());
  }
  if (request.only_print) return kDone;
  Bytes program;
  if (read_file(job.places.runner.string(), &program)) {
    return refuse("the installation lacks " + job.places.runner.string() +
                  ", which --standalone needs");
  }
  std::uint8_t* const place = find_record(&program);
  if (!place) return refuse(job.places.runner.string() + " is not the runner of this version");
  std::vector<Carried> all;
  if (const int status = collect(job, &all)) return status;
  const Bytes carried = packed(all);
  CarriedRecord record;
  std::memcpy(&record, place, sizeof record);
  record.size = carried.size();
  record.sum = tarn::platform::carried_sum(carried.data(), carried.size());
  record.begin = (program.size() + tarn::platform::kCarriedUnit - 1) /
                 tarn::platform::kCarriedUnit * tarn::platform::kCarriedUnit;
  std::memcpy(place, &record, sizeof record);
  pad(&program, tarn::platform::kCarriedUnit);
  program.insert(program.end(), carried.begin(), carried.end());
  return write_program(request.standalone, program.data(), program.size());
}
