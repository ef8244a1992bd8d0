#include "routine_names.h"

#include <cxxabi.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

#include "crt/cxx/readable_name.h"

namespace finisher {
namespace {

constexpr std::size_t kLongestDecodedName = 4096;

// The compiler's words for a copy or a part of a routine, each after a dot and many
// with a number after it: settle.part.0.cold. A number alone tells apart routines
// within routines.
constexpr std::string_view kCloneWords[] = {
    "clone", "cold", "constprop", "isra", "localalias", "lto_priv", "part", "simdclone", "_omp_fn",
};

bool is_clone_word(std::string_view word) {
  return std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; }) ||
         std::find(std::begin(kCloneWords), std::end(kCloneWords), word) != std::end(kCloneWords);
}

std::string without_clone_words(std::string name) {
  for (;;) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) return name;
    if (!is_clone_word(std::string_view(name).substr(dot + 1))) return name;
    name.resize(dot);
  }
}

// Of a coroutine's body, _Z3jobPZ3jobPiE14_Z3jobPi.Frame.actor, the coroutine: the body takes
// the frame, whose name holds that of the coroutine after its length.
std::string coroutine_name(std::string name) {
  constexpr std::string_view kFrame = ".Frame", kBodies[] = {".Frame.actor", ".Frame.destroy"};
  const auto is_body = [&name](std::string_view end) { return name.ends_with(end); };
  if (std::none_of(std::begin(kBodies), std::end(kBodies), is_body)) return name;
  const std::size_t end = name.rfind(kFrame);
  for (std::size_t at = name.find("_Z", 1); at < end; at = name.find("_Z", at + 1)) {
    const std::string length = std::to_string(end + kFrame.size() - at);
    if (std::string_view(name).substr(0, at).ends_with(length)) return name.substr(at, end - at);
  }
  return name;
}

// A routine of a Fortran module without debug data, __linear_MOD_solve.
std::string fortran_name(std::string name) {
  constexpr std::string_view kModule = "__", kRoutineOfModule = "_MOD_";
  if (name == kNamelessProgram) return kShownNamelessProgram;
  const std::size_t middle = name.find(kRoutineOfModule);
  if (!name.starts_with(kModule) || middle == std::string::npos) return name;
  return name.substr(kModule.size(), middle - kModule.size()) + ":" +
         name.substr(middle + kRoutineOfModule.size());
}

std::string demangled(std::string name) {
  if (!name.starts_with("_Z") || name.size() > kLongestDecodedName) return name;
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> text(
      abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status), std::free);
  if (status != 0 || text == nullptr) return name;
  crt::make_readable(text.get());
  return text.get();
}

// Applied in this order. Each returns a name that it does not concern unchanged.
constexpr std::string (*kRules[])(std::string) = {without_clone_words, coroutine_name, fortran_name,
                                                  demangled};

}  // namespace

bool is_reserved(std::string_view shown) {
  constexpr std::string_view kOperator = "operator", kCall = "()", kSigns = "<>=-+*/!&|^%~[],";
  const auto is_word = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
  };
  int depth = 0;
  for (std::size_t i = 0; i < shown.size(); ++i) {
    const char c = shown[i];
    if (is_word(c)) {
      const std::size_t start = i;
      while (i + 1 < shown.size() && is_word(shown[i + 1])) ++i;
      const std::string_view word = shown.substr(start, i + 1 - start);
      if (depth > 0) continue;
      if (word.size() > 1 && word[0] == '_' &&
          (word[1] == '_' || std::isupper(static_cast<unsigned char>(word[1])))) {
        return true;
      }
      if (word != kOperator) continue;
      if (shown.substr(i + 1).starts_with(kCall)) i += kCall.size();
      while (i + 1 < shown.size() && kSigns.find(shown[i + 1]) != kSigns.npos) ++i;
    } else if (c == '<' || c == '(' || c == '{') {
      ++depth;
    } else if ((c == '>' && shown[i - 1] != '-') || c == ')' || c == '}') {
      --depth;
    }
  }
  return false;
}

std::string shown_name(std::string symbol) {
  for (const auto rule : kRules) symbol = rule(std::move(symbol));
  return symbol;
}

}  // namespace finisher
