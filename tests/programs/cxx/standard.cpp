// The standard library of C++, as far as it asks the system for anything.
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <future>
#include <iomanip>
#include <iostream>
#include <locale>
#include <map>
#include <memory>
#include <mutex>
#include <regex>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <typeinfo>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Noisy {
  const char* name;
  explicit Noisy(const char* text) : name(text) { std::cout << "made " << name << '\n'; }
  ~Noisy() { std::cout << "gone " << name << '\n'; }
};
Noisy first("first"), second("second");
thread_local Noisy own("of a thread");

Noisy& local() {
  static Noisy noisy("local");
  return noisy;
}

struct Base {
  virtual ~Base() = default;
};
struct Left : virtual Base {};
struct Right : virtual Base {};
struct Both : Left, Right {};

void files() {
  const fs::path folder = fs::temp_directory_path() / "tarn hosted c++ \u00e4";
  fs::remove_all(folder);
  fs::create_directories(folder / "a" / "b");
  std::ofstream(folder / "a" / "one.txt") << "one\n";
  fs::copy_file(folder / "a" / "one.txt", folder / "a" / "b" / "two.txt");
  fs::create_hard_link(folder / "a" / "one.txt", folder / "a" / "linked.txt");
  std::cout << fs::equivalent(folder / "a" / "one.txt", folder / "a" / "linked.txt")
            << fs::equivalent(folder / "a", folder / "a" / "b") << '\n';
  fs::rename(folder / "a" / "linked.txt", folder / "moved.txt");
  fs::last_write_time(folder / "moved.txt", fs::file_time_type::clock::now());
  std::map<std::string, std::uintmax_t> found;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    found[fs::relative(entry.path(), folder).generic_string()] =
        entry.is_regular_file() ? entry.file_size() : 0;
  }
  for (const auto& [name, size] : found) std::cout << name << ' ' << size << '\n';
  std::cout << (fs::space(folder).capacity > 0) << ' '
            << fs::canonical(folder / "a" / ".." / "a").filename().string() << '\n';
  std::error_code error;
  fs::file_size(folder / "none", error);
  std::cout << (error == std::errc::no_such_file_or_directory) << ' ' << fs::remove_all(folder)
            << '\n';
}

void threads() {
  std::mutex mutex;
  std::condition_variable changed;
  int turn = 0;
  std::vector<std::thread> team;
  for (int i = 0; i < 3; ++i) {
    team.emplace_back([&, i] {
      std::unique_lock lock(mutex);
      changed.wait(lock, [&] { return turn == i; });
      std::cout << "turn " << i << ", " << own.name << '\n';
      ++turn;
      changed.notify_all();
    });
    team.back().join();
  }
  auto answer = std::async(std::launch::async, [] { return 42; });
  auto failure = std::async(std::launch::async, []() -> int { throw std::out_of_range("async"); });
  std::cout << answer.get() << '\n';
  try {
    failure.get();
  } catch (const std::out_of_range& error) {
    std::cout << error.what() << '\n';
  }
  const auto start = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  std::cout << (std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(19)) << '\n';
}

void text() {
  std::smatch match;
  const std::string line = "key = value";
  std::cout << std::regex_match(line, match, std::regex(R"((\w+)\s*=\s*(\w+))")) << match[2]
            << '\n';
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, 0.1).ptr;
  double number = 0;
  std::from_chars("2.5e3", "2.5e3" + 5, number);
  std::cout << std::string(digits, end) << ' ' << number << '\n';
  std::cout << std::setw(8) << std::setfill('.') << std::hex << 255 << std::dec << ' ' << std::fixed
            << std::setprecision(3) << 3.14159 << ' ' << std::boolalpha << true << '\n';
  std::cout << std::locale().name() << '\n';
  std::istringstream in("7 8.5 word");
  int seven = 0;
  double real = 0;
  std::string word;
  in >> seven >> real >> word;
  std::cout << seven << real << word << in.eof() << '\n';
  try {
    std::locale("xx_YY");
  } catch (const std::runtime_error& error) {
    std::cout << "no such locale\n";
  }
}

}  // namespace

int main() {
  std::ios::sync_with_stdio(false);
  local();
  std::unique_ptr<Base> object = std::make_unique<Both>();
  std::cout << (dynamic_cast<Right*>(object.get()) != nullptr) << (typeid(*object) == typeid(Both))
            << '\n';
  try {
    std::vector<int>(3).at(7);
  } catch (const std::exception& error) {
    std::cout << error.what() << '\n';
  }
  try {
    (void)new char[std::size_t{1} << 62];
  } catch (const std::bad_alloc& error) {
    std::cout << error.what() << '\n';
  }
  files();
  threads();
  text();
}
