#include "Bench/Ratios.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <vector>

namespace Orvexa::Bench {

namespace {

struct Pair {
    std::string name, peerName;
    double goal;
};

std::vector<Pair>& Pairs() {
    static std::vector<Pair> pairs;
    return pairs;
}

// Keeps the fastest repetition of every benchmark: what else the machine does only ever adds.
class FastestTimes : public benchmark::ConsoleReporter {
public:
    using ConsoleReporter::ConsoleReporter;
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
            const double seconds = run.GetAdjustedRealTime();
            const auto [place, isNew] = times_.emplace(run.run_name.function_name, seconds);
            if (!isNew) place->second = std::min(place->second, seconds);
        }
    }
    double Get(const std::string& name) const {
        const auto found = times_.find(name);
        return found == times_.end() ? 0.0 : found->second;
    }

private:
    std::map<std::string, double> times_;
};

void Register(const std::string& name, std::function<void()> work, int runs) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [work = std::move(work)](benchmark::State& state) {
                                     for (auto _ : state) work();
                                 })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->Repetitions(runs)
        ->MinTime(0.2);
}

}  // namespace

void AddPair(const std::string& name, const std::string& peerName, double goal, std::function<void()> ours,
             std::function<void()> peer, int peerRuns) {
    Pairs().push_back({name, peerName, goal});
    Register(name + " | kalvatri", std::move(ours), 5);
    Register(name + " | " + peerName, std::move(peer), peerRuns);
}

int RunPairs(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    FastestTimes times;
    benchmark::RunSpecifiedBenchmarks(&times);
    benchmark::Shutdown();
    std::printf("\n%-64s %-28s %8s %8s\n", "what (fastest of 5)", "peer", "ratio", "goal");
    for (const Pair& pair : Pairs()) {
        const double ours = times.Get(pair.name + " | kalvatri"), peer = times.Get(pair.name + " | " + pair.peerName);
        if (ours > 0)
            std::printf("%-64s %-28s %8.2f %8.2f\n", pair.name.c_str(), pair.peerName.c_str(), peer / ours, pair.goal);
    }
    return 0;
}

}  // namespace Orvexa::Bench
