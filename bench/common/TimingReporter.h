#pragma once
#include <benchmark/benchmark.h>
#include <signal.h>

#include <map>
#include <string>
#include <vector>

// The console report, remembering each benchmark's time per round so that a
// program can print how two of them compare.
class TimingReporter : public benchmark::ConsoleReporter {
 public:
  // Runs the program's benchmarks (those its arguments select) with this
  // report. A helper that goes away must not end the run with SIGPIPE.
  void runAll(int& argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks(this);
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && run.iterations > 0) {
        seconds_[run.benchmark_name()] = run.real_accumulated_time / static_cast<double>(run.iterations);
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  // How many times longer a round of `slower` took than one of `faster`; 0
  // when either did not run.
  double ratio(const std::string& slower, const std::string& faster) const {
    auto a = seconds_.find(slower), b = seconds_.find(faster);
    if (a == seconds_.end() || b == seconds_.end() || b->second == 0) return 0;
    return a->second / b->second;
  }

 private:
  std::map<std::string, double> seconds_;
};
