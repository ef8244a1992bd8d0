// The reader of the registry file: any bytes as the file, key and name. What
// it finds must be inside the text, and the key that has a value must exist.

#include "platform/posix/registry/registry_text.h"

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarn::platform;
  // The first two lines are the key and the name.
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t first = input.find('\n');
  const std::size_t second = first == std::string::npos ? first : input.find('\n', first + 1);
  if (second == std::string::npos) return 0;
  const std::string key = input.substr(0, first).c_str();
  const std::string name = input.substr(first + 1, second - first - 1).c_str();
  const std::size_t length = size - second - 1;
  const char* const text = reinterpret_cast<const char*>(data) + second + 1;

  RegistryText value{nullptr, 0};
  const bool has_key = has_registry_key({text, length}, key.c_str());
  if (find_registry_value({text, length}, key.c_str(), name.c_str(), &value)) {
    fuzz::require(has_key && value.begin >= text && value.begin + value.size <= text + length &&
                  std::memchr(value.begin, '\n', value.size) == nullptr);
  }
  return 0;
}
