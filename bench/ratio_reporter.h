#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace vorn::bench {

// Console output as usual, then one line per pair of benchmarks: the library's
// time against the baseline's, measured in the same run. Ratios travel between
// machines; absolute times on shared machines do not. Both the wall-clock and
// the CPU-time ratio are printed: where the whole work runs in this process
// (SQLite), the CPU-time ratio leaves out the waits for a disk that other users
// of a shared machine keep busy; where a server does part of it (PostgreSQL),
// only the wall-clock ratio counts.
class RatioReporter : public ::benchmark::ConsoleReporter {
  public:
    struct Pair {
        std::string label;
        std::string library;
        std::string baseline;
    };

    explicit RatioReporter(std::vector<Pair> pairs) : m_pairs(std::move(pairs)) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        // With --benchmark_repetitions the median of the repetitions is used,
        // otherwise the single run.
        for (const auto& run : runs) {
            if (run.error_occurred) {
                continue;
            }
            const std::string& name = run.run_name.function_name;
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                m_times[name] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
                m_fromMedian[name] = true;
            } else if (run.run_type == Run::RT_Iteration && !m_fromMedian[name]) {
                m_times[name] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
            }
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\n%-58s %12s %10s\n", "library time / baseline time (lower is better)",
                    "ratio", "CPU time");
        for (const auto& pair : m_pairs) {
            const auto library = m_times.find(pair.library);
            const auto baseline = m_times.find(pair.baseline);
            if (library == m_times.end() || baseline == m_times.end() ||
                baseline->second.real <= 0 || baseline->second.cpu <= 0) {
                continue;
            }
            const double ratio = library->second.real / baseline->second.real;
            const double cpuRatio = library->second.cpu / baseline->second.cpu;
            std::printf(
                "%-58s %11.2fx %9.2fx   (throughput %.2f of the baseline, %.2f by CPU time)\n",
                pair.label.c_str(), ratio, cpuRatio, 1.0 / ratio, 1.0 / cpuRatio);
        }
    }

  private:
    struct Times {
        double real = 0;
        double cpu = 0;
    };
    std::vector<Pair> m_pairs;
    std::map<std::string, Times> m_times;
    std::map<std::string, bool> m_fromMedian;
};

// main() for a benchmark program that prints the ratios of the given pairs.
inline int runWithRatios(int argc, char** argv, std::vector<RatioReporter::Pair> pairs) {
    ::benchmark::Initialize(&argc, argv);
    if (::benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    RatioReporter reporter(std::move(pairs));
    ::benchmark::RunSpecifiedBenchmarks(&reporter);
    ::benchmark::Shutdown();
    return 0;
}

}  // namespace vorn::bench
