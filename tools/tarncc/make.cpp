#include "make.h"

#include "beside_image.h"
#include "messages.h"
#include "scratch.h"
#include "standalone.h"
#include "steps.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kDlls[] = {"TARNLIBC64.DLL", "PANEVIEW64.DLL"};

int finish(const Job& job, const fs::path& unfinished) {
  const Request& request = job.request;
  Words words = {job.places.finish_image.string()};
  if (request.dll) words.push_back("--dll");
  if (request.hosted) words.push_back("--call-lines");
  words.insert(words.end(), request.finish_options.begin(), request.finish_options.end());
  words.insert(words.end(),
               {"--called", request.output, unfinished.string(), "-o", request.output});
  return run_program(words, job.run_options()) == 0 ? kDone : kRefused;
}

int make_image(const Job& job, const Words& objects) {
  const Request& request = job.request;
  // Importers of an ordinary DLL see the name that it was linked by.
  const fs::path unfinished =
      job.scratch / (request.report_only
                         ? fs::path(request.output).filename()
                         : fs::path(request.dll ? "unfinished.dll" : "unfinished.exe"));
  if (const int status = link(job, objects, unfinished)) return status;
  if (const int status = finish(job, unfinished)) return status;
  if (!request.standalone.empty()) {
    if (const int status = make_standalone(job)) return status;
  }
  if (request.only_print) return kDone;
  // Where Windows looks first for what an image needs.
  const fs::path folder = fs::path(request.output).parent_path();
  if (request.dll) {
    const std::string library = import_library(request);
    const int status = library.empty() ? kDone : put_beside_image(job.scratch / library, folder);
    if (status != kDone) return status;
  }
  if (!request.copy_dlls) return kDone;
  for (const char* const name : kDlls) {
    if (const int status = put_beside_image(job.places.parts / name, folder)) return status;
  }
  return kDone;
}

}  // namespace

int make(const Request& request, const Places& places) {
  hold_signals();
  int status = kDone;
  {
    const Scratch scratch;
    if (scratch.folder.empty()) {
      return refuse("there is no folder for temporary files: " + scratch.failure);
    }
    const Job job{request, places, scratch.folder};
    Words objects;
    for (const Input& input : request.inputs) {
      if (!input.is_source) continue;
      const fs::path object = scratch.folder / (std::to_string(objects.size()) + ".o");
      status = compile(job, input, object);
      if (status != kDone) break;
      objects.push_back(object.string());
    }
    if (status == kDone && request.goal == Goal::kImage) status = make_image(job, objects);
  }
  if (is_interrupted()) end_by_signal();
  return status;
}
