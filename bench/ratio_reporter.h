#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace vorn::bench {

// Console output as usual, then one line per pair of benchmarks: the library's
// time against the baseline's, measured in the same run, by the wall clock and
// by CPU time, with the spread over the repetitions. Ratios travel between
// machines; absolute times on shared machines do not. Where the whole work runs
// in this process (SQLite), the CPU-time ratio leaves out the waits for a disk
// that other users of a shared machine keep busy; where a server does part of
// it (PostgreSQL), only the wall-clock ratio counts.
class RatioReporter : public ::benchmark::ConsoleReporter {
  public:
    struct Pair {
        std::string label;
        std::string library;
        std::string baseline;
        // The CPU-time ratio is the one that counts (marked "*"): for work whose
        // wall time is dominated by waits both sides share (a commit's sync to
        // disk).
        bool cpuTime = false;
        // The library's side is a part of the baseline's work (a check that
        // every call makes): its share of the baseline's time is printed.
        bool share = false;
    };

    explicit RatioReporter(std::vector<Pair> pairs) : m_pairs(std::move(pairs)) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        // With --benchmark_repetitions the median of the repetitions is used,
        // otherwise the single run. Each repetition is kept too, for the spread.
        for (const auto& run : runs) {
            if (run.error_occurred) {
                continue;
            }
            const std::string& name = run.run_name.function_name;
            const Times times{run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                m_times[name] = times;
                m_fromMedian[name] = true;
            } else if (run.run_type == Run::RT_Iteration) {
                m_repetitions[name].push_back(times);
                if (!m_fromMedian[name]) {
                    m_times[name] = times;
                }
            }
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\n%-58s %12s %10s\n", "library time / baseline time (lower is better)",
                    "wall clock", "CPU time");
        for (const auto& pair : m_pairs) {
            const auto library = m_times.find(pair.library);
            const auto baseline = m_times.find(pair.baseline);
            if (library == m_times.end() || baseline == m_times.end() ||
                baseline->second.real <= 0 || baseline->second.cpu <= 0) {
                continue;
            }
            const double real = library->second.real / baseline->second.real;
            const double cpu = library->second.cpu / baseline->second.cpu;
            const double counted = pair.cpuTime ? cpu : real;
            std::printf("%-58s %11.2fx%s %8.2fx%s  ", pair.label.c_str(), real,
                        pair.cpuTime ? " " : "*", cpu, pair.cpuTime ? "*" : " ");
            if (pair.share) {
                std::printf("(%.2f %% of the baseline's time)\n", 100.0 * counted);
            } else {
                std::printf("(throughput %.2f of the baseline)\n", 1.0 / counted);
            }
            printSpread(pair);
        }
    }

  private:
    struct Times {
        double real = 0;
        double cpu = 0;
        double of(bool cpuTime) const { return cpuTime ? cpu : real; }
    };

    // The smallest and largest ratio of the i-th repetitions of the pair.
    void printSpread(const Pair& pair) {
        const std::vector<Times>& library = m_repetitions[pair.library];
        const std::vector<Times>& baseline = m_repetitions[pair.baseline];
        const std::size_t count = std::min(library.size(), baseline.size());
        if (count < 2) {
            return;
        }
        double low = 0;
        double high = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const double ratio = library[i].of(pair.cpuTime) / baseline[i].of(pair.cpuTime);
            low = i == 0 ? ratio : std::min(low, ratio);
            high = i == 0 ? ratio : std::max(high, ratio);
        }
        const char* const clock = pair.cpuTime ? "CPU time" : "wall clock";
        if (pair.share) {
            std::printf("%-58s %10.2f %% - %.2f %% (%s) over %zu repetitions\n", "", 100.0 * low,
                        100.0 * high, clock, count);
        } else {
            std::printf("%-58s %11.2fx - %.2fx (%s) over %zu repetitions\n", "", low, high, clock,
                        count);
        }
    }

    std::vector<Pair> m_pairs;
    std::map<std::string, Times> m_times;
    std::map<std::string, bool> m_fromMedian;
    std::map<std::string, std::vector<Times>> m_repetitions;
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
