// start_time name limit rounds ours... -- peer...
//
// Times two whole commands, by turns, and prints the medians and their ratio.

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

double run(char* const* command) {
  const auto start = std::chrono::steady_clock::now();
  pid_t child = 0;
  int status = 0;
  if (posix_spawnp(&child, command[0], nullptr, nullptr, command, environ) != 0 ||
      waitpid(child, &status, 0) < 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::fprintf(stderr, "start_time: %s did not run to a good end\n", command[0]);
    std::exit(1);
  }
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
      .count();
}

double median(std::vector<double> times) {
  std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2),
                   times.end());
  return times[times.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<char*> commands[2];
  int side = 0;
  for (int i = 4; i < argc; ++i) {
    if (std::strcmp(argv[i], "--") == 0 && side == 0) {
      side = 1;
    } else {
      commands[side].push_back(argv[i]);
    }
  }
  if (commands[0].empty() || commands[1].empty()) {
    std::fprintf(stderr, "usage: start_time name limit rounds ours... -- peer...\n");
    return 2;
  }
  for (auto& command : commands) command.push_back(nullptr);
  const int rounds = std::max(3, std::atoi(argv[3]));
  const double limit = std::atof(argv[2]);
  std::vector<double> times[2];
  for (int i = -2; i < rounds; ++i) {
    for (int which = 0; which < 2; ++which) {
      const double time = run(commands[which].data());
      if (i >= 0) times[which].push_back(time);  // the first two runs warm up
    }
  }
  const double ours = median(times[0]);
  const double peer = median(times[1]);
  std::printf("%-34s %-24s %10.1f %10.1f %7.3f %7.3f%s\n", argv[1], "(microseconds)", ours, peer,
              ours / peer, limit, ours / peer <= limit ? "" : "  missed");
  return ours / peer <= limit ? 0 : 1;
}
