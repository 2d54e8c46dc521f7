#pragma once

#include <functional>

#include <benchmark/benchmark.h>

/// Two ways to do the same, one of which is measured against the other.
struct Pair {
    std::function<void()> ours;
    std::function<void()> reference;
    std::function<void()> beforeOurs = [] {}; ///< these are not measured
    std::function<void()> beforeReference = [] {};
};

/// What is counted: the thread's own time, which other programs of a busy machine don't lengthen, or all time that
/// passes, where the work is done by other processes.
enum class TimeOf {
    thread,
    everything
};

/// Runs both sides once an iteration, each of them first every other time, so that whatever else the machine does
/// meets both alike. Counters: the medians and the least of both in seconds, and the median of the
/// pairs' ratios.
void compare(benchmark::State& state, TimeOf time, const Pair& pair);

/// The same of the thread's time, with a counter "more_ns": the median of what ours takes more, a call.
/// @param calls made by each side in one iteration.
void compareCalls(benchmark::State& state, const Pair& pair, int calls);

/// Runs the registered benchmarks; `main` is no more than this.
int runBenchmarks(int count, char** arguments);
