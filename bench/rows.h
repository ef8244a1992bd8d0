// Rows of the speed table: the library against a named peer, both in this
// process.
//
// A row is two benchmarks, "row/ours" and "row/peer", each run in many short
// repetitions that are mixed with those of all others. The figure is the ratio
// of the times that a tenth of the repetitions kept below: whatever else the
// machine does only adds. The limit is what the row promises; 0 promises
// nothing.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace bench {

struct Row {
  const char* name;
  const char* peer;
  void (*ours)(benchmark::State&);
  void (*theirs)(benchmark::State&);
  double limit;           // time of ours / time of the peer, at most
  std::size_t bytes = 0;  // of a turn of ours, if its speed is to be shown
};

// Something the compiler must not see through.
template <class T>
T opaque(T value) {
  asm volatile("" : "+r"(value));
  return value;
}

// In place of benchmark::Initialize.
inline void initialise(int argc, char** argv) {
  static char interleave[] = "--benchmark_enable_random_interleaving=true";
  std::vector<char*> arguments(argv, argv + argc);
  arguments.insert(arguments.begin() + 1, interleave);
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
}

class TimeReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration) {
        times_[run.run_name.function_name].push_back(run.GetAdjustedRealTime());
      }
    }
  }
  bool ran(const std::string& name) const { return times_.count(name) != 0; }
  double time(const std::string& name) const {
    std::vector<double> times = times_.at(name);
    const auto tenth = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 10);
    std::nth_element(times.begin(), tenth, times.end());
    return *tenth;
  }

 private:
  std::map<std::string, std::vector<double>> times_;
};

// Prints a row, times in nanoseconds, and the speed if a turn of ours works
// through `bytes`. Result: 1 if it missed its limit, else 0.
inline int print_row(const char* name, const char* peer, double ours, double theirs, double limit,
                     std::size_t bytes = 0) {
  const bool kept = limit == 0 || ours / theirs <= limit;
  std::printf("%-34s %-24s %10.1f %10.1f %7.3f ", name, peer, ours, theirs, ours / theirs);
  if (limit == 0) {
    std::printf("%7s", "-");
  } else {
    std::printf("%7.3f%s", limit, kept ? "" : "  missed");
  }
  if (bytes) std::printf("  %.0f MB/s", static_cast<double>(bytes) * 1e3 / ours);
  std::printf("\n");
  return !kept;
}

// Runs and prints the rows. Result: 1 if one of them missed its limit, else 0.
inline int run_rows(std::span<const Row> rows, int repetitions = 40) {
  for (const Row& row : rows) {
    for (const bool ours : {true, false}) {
      const std::string name = std::string(row.name) + (ours ? "/ours" : "/peer");
      benchmark::RegisterBenchmark(name.c_str(), ours ? row.ours : row.theirs)
          ->Repetitions(repetitions)
          ->MinTime(0.002)
          ->Unit(benchmark::kNanosecond);
    }
  }
  TimeReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  int status = 0;
  for (const Row& row : rows) {
    const std::string name = row.name;
    if (!reporter.ran(name + "/ours") || !reporter.ran(name + "/peer")) continue;
    status |= print_row(row.name, row.peer, reporter.time(name + "/ours"),
                        reporter.time(name + "/peer"), row.limit, row.bytes);
  }
  return status;
}

}  // namespace bench
