// command_time rounds ours... -- theirs...
//
// Runs two whole commands by turns, their output discarded, and prints the medians
// of their times in nanoseconds and of the most memory that they had at a time, in
// bytes, with tabs between: ours, theirs, memory of ours, of theirs.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

struct Cost {
  double time, memory;
};

Cost run(char* const* command) {
  static const posix_spawn_file_actions_t* const silent = [] {
    static posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    return &actions;
  }();
  const auto start = std::chrono::steady_clock::now();
  pid_t child = 0;
  int status = 0;
  rusage usage{};
  if (posix_spawnp(&child, command[0], silent, nullptr, command, environ) != 0 ||
      wait4(child, &status, 0, &usage) < 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::fprintf(stderr, "command_time: %s did not run to a good end\n", command[0]);
    std::exit(1);
  }
  const std::chrono::duration<double, std::nano> time = std::chrono::steady_clock::now() - start;
  return {time.count(), static_cast<double>(usage.ru_maxrss) * 1024};
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
  for (int i = 2; i < argc; ++i) {
    if (std::strcmp(argv[i], "--") == 0 && side == 0) {
      side = 1;
    } else {
      commands[side].push_back(argv[i]);
    }
  }
  if (commands[0].empty() || commands[1].empty()) {
    std::fprintf(stderr, "usage: command_time rounds ours... -- theirs...\n");
    return 2;
  }
  for (auto& command : commands) command.push_back(nullptr);
  const int rounds = std::max(1, std::atoi(argv[1]));
  std::vector<double> times[2], memory[2];
  for (int i = -1; i < rounds; ++i) {
    for (int which = 0; which < 2; ++which) {
      const Cost cost = run(commands[which].data());
      if (i < 0) continue;  // the first run warms up
      times[which].push_back(cost.time);
      memory[which].push_back(cost.memory);
    }
  }
  std::printf("%.0f\t%.0f\t%.0f\t%.0f\n", median(times[0]), median(times[1]), median(memory[0]),
              median(memory[1]));
  return 0;
}
