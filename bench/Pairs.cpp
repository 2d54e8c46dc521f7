#include "bench/Pairs.h"

#include <algorithm>
#include <string>
#include <vector>

#include <time.h>

namespace {

double now(TimeOf time)
{
    constexpr double nanoseconds = 1e9;
    timespec value{};
    clock_gettime(time == TimeOf::thread ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC, &value);
    return static_cast<double>(value.tv_sec) + static_cast<double>(value.tv_nsec) / nanoseconds;
}

double seconds(TimeOf time, const std::function<void()>& work)
{
    const double start = now(time);
    work();
    return now(time) - start;
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double least(const std::vector<double>& values)
{
    return values.empty() ? 0 : *std::min_element(values.begin(), values.end());
}

struct Measured {
    std::vector<double> ours;
    std::vector<double> reference;
    std::vector<double> ratios;
    std::vector<double> differences;
};

void measureOnce(TimeOf time, const Pair& pair, Measured& measured)
{
    const auto measureOurs = [&] {
        pair.beforeOurs();
        measured.ours.push_back(seconds(time, pair.ours));
    };
    const auto measureReference = [&] {
        pair.beforeReference();
        measured.reference.push_back(seconds(time, pair.reference));
    };
    const bool oursFirst = measured.ours.size() % 2 == 0;
    if (oursFirst)
        measureOurs();
    measureReference();
    if (!oursFirst)
        measureOurs();
    measured.ratios.push_back(measured.ours.back() / measured.reference.back());
    measured.differences.push_back(measured.ours.back() - measured.reference.back());
}

Measured measure(benchmark::State& state, TimeOf time, const Pair& pair)
{
    Measured measured;
    for ([[maybe_unused]] auto iteration : state) {
        measureOnce(time, pair, measured);
        state.SetIterationTime(measured.ours.back());
    }
    state.counters["ours_s"] = median(measured.ours);
    state.counters["ref_s"] = median(measured.reference);
    state.counters["ours_best_s"] = least(measured.ours);
    state.counters["ref_best_s"] = least(measured.reference);
    state.counters["ratio"] = median(measured.ratios);
    return measured;
}

} // namespace

void compare(benchmark::State& state, TimeOf time, const Pair& pair)
{
    measure(state, time, pair);
}

void compareCalls(benchmark::State& state, const Pair& pair, int calls)
{
    constexpr double nanoseconds = 1e9;
    state.counters["more_ns"] = median(measure(state, TimeOf::thread, pair).differences) / calls * nanoseconds;
}

int runBenchmarks(int count, char** arguments)
{
    std::vector<char*> all(arguments, arguments + count);
    std::string tabular = "--benchmark_counters_tabular=true";
    all.insert(all.begin() + 1, tabular.data());
    int allCount = static_cast<int>(all.size());
    benchmark::Initialize(&allCount, all.data());
    if (benchmark::ReportUnrecognizedArguments(allCount, all.data()))
        return 2;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
