// Benchmarks in pairs: ours and a peer, told as a ratio.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

namespace Orvexa::Bench {

/// Registers `ours` and `peer` to run in the same program; both do the work once per call. `goal` is the ratio peer
/// time / our time to reach. `peerRuns` is how often a peer is measured, fewer for one that takes seconds.
void AddPair(const std::string& name, const std::string& peerName, double goal, std::function<void()> ours,
             std::function<void()> peer, int peerRuns = 5);

/// Runs all pairs, taking turns, and prints a table of ratios. Returns the exit code: 0 whatever the ratios, since
/// times decide nothing.
int RunPairs(int argc, char** argv);

}  // namespace Orvexa::Bench
