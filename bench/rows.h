// One run of rows of the speed table: the library against a named peer, both in
// this process. bench/table.py runs it several times and judges.
//
// A row is two benchmarks, each run in many short repetitions that are mixed with
// those of the other. The figures are the times that a tenth of the repetitions
// kept below: whatever else the machine does only adds. The limit is what the row
// promises; 0 promises nothing.
//
//   NAME_bench [--row TEXT]...     only the rows whose names contain one of the texts
//
// prints a line for each row, with a tab after each field but the last: name, peer,
// time of ours and of the peer in nanoseconds, limit, bytes.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

inline std::vector<const char*> wanted_rows;  // none: all

// Reads the command line.
inline void initialise(int argc, char** argv) {
  for (int i = 1; i < argc; i += 2) {
    if (std::strcmp(argv[i], "--row") != 0 || i + 1 == argc) {
      std::fprintf(stderr, "usage: %s [--row TEXT]...\n", argv[0]);
      std::exit(2);
    }
    wanted_rows.push_back(argv[i + 1]);
  }
  static char name[] = "bench";
  static char interleave[] = "--benchmark_enable_random_interleaving=true";
  char* arguments[] = {name, interleave, nullptr};
  int count = 2;
  benchmark::Initialize(&count, arguments);
}

inline bool wanted(const char* row) {
  return wanted_rows.empty() ||
         std::any_of(wanted_rows.begin(), wanted_rows.end(),
                     [&](const char* text) { return std::strstr(row, text) != nullptr; });
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
  double time(const std::string& name) const {
    std::vector<double> times = times_.at(name);
    const auto tenth = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 10);
    std::nth_element(times.begin(), tenth, times.end());
    return *tenth;
  }

 private:
  std::map<std::string, std::vector<double>> times_;
};

inline void print_row(const char* name, const char* peer, double ours, double theirs, double limit,
                      std::size_t bytes = 0) {
  std::printf("%s\t%s\t%.3f\t%.3f\t%.4f\t%zu\n", name, peer, ours, theirs, limit, bytes);
  std::fflush(stdout);
}

// Runs and prints the rows that are wanted.
inline void run_rows(std::span<const Row> rows, int repetitions = 14) {
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Row& row = rows[i];
    if (!wanted(row.name)) continue;
    const std::string number = std::to_string(i);
    for (const bool ours : {true, false}) {
      benchmark::RegisterBenchmark((number + (ours ? "/ours" : "/peer")).c_str(),
                                   ours ? row.ours : row.theirs)
          ->Repetitions(repetitions)
          ->MinTime(0.002)
          ->Unit(benchmark::kNanosecond);
    }
    TimeReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter, "^" + number + "/");
    benchmark::ClearRegisteredBenchmarks();
    print_row(row.name, row.peer, reporter.time(number + "/ours"), reporter.time(number + "/peer"),
              row.limit, row.bytes);
  }
}

}  // namespace bench
