#include "measure.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <unistd.h>
#include <vector>

#ifdef HALDO_VALGRIND
#include <valgrind/callgrind.h>
#endif

static constexpr int REPETITIONS = 21;
static constexpr double REPETITION_S = 0.002;
static constexpr std::size_t BATCH = 64; // turns of a loop at a time

static FILE* results = stdout;

namespace
{

// Keeps the time of one turn in each repetition, by the benchmark's name.
class collector : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration)
                times[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
    }
    double least(const char* name) { return *std::min_element(times.at(name).begin(), times.at(name).end()); }

private:
    std::map<std::string, std::vector<double>> times;
};

void interleave()
{
    std::string name = "bench";
    std::string interleaved = "--benchmark_enable_random_interleaving=true";
    char* arguments[] = {name.data(), interleaved.data(), nullptr};
    int count = 2;
    benchmark::Initialize(&count, arguments);
}

void add(const char* name, loop_function run)
{
    benchmark::RegisterBenchmark(name,
                                 [run](benchmark::State& state) {
                                     while (state.KeepRunningBatch(BATCH))
                                         run(BATCH);
                                 })
        ->Repetitions(REPETITIONS)
        ->MinTime(REPETITION_S);
}

} // namespace

// Under callgrind nothing is timed: each of the next dumps contains one turn, so that one in which the second changes
// does not count. False where there is no callgrind.
static bool count_instructions([[maybe_unused]] loop_function side)
{
#ifdef HALDO_VALGRIND
    if (RUNNING_ON_VALGRIND) {
        side(2);
        for (int dump = 0; dump < 3; ++dump) {
            CALLGRIND_ZERO_STATS;
            side(1);
            CALLGRIND_DUMP_STATS;
        }
        return true;
    }
#endif
    return false;
}

timing measure(loop_function ours, loop_function reference)
{
    if (count_instructions(ours) && count_instructions(reference))
        return {1, 1};
    [[maybe_unused]] static const bool ready = (interleave(), true);
    benchmark::ClearRegisteredBenchmarks();
    add("ours", ours);
    add("reference", reference);
    collector times;
    benchmark::RunSpecifiedBenchmarks(&times);
    return {times.least("ours"), times.least("reference")};
}

void print(const comparison& what, timing result)
{
    char goal[64] = "\"goal\": null, \"goal_text\": null";
    if (what.goal)
        std::snprintf(goal, sizeof(goal), "\"goal\": %.2f, \"goal_text\": \"at most %.2f\"", *what.goal, *what.goal);
    std::fprintf(results,
                 "{\"part\": \"%s\", \"row\": \"%s\", \"ours\": %.3f, \"reference\": %.3f, \"unit\": \"ns\", "
                 "\"against\": \"%s\", \"ratio\": %.3f, %s%s}\n",
                 what.part.c_str(), what.row.c_str(), result.ours, result.reference, what.against.c_str(),
                 result.ours / result.reference, goal, what.more.c_str());
    std::fflush(results);
}

void claim_standard_output(const char* path)
{
    results = fdopen(dup(STDOUT_FILENO), "w");
    FILE* const other = std::fopen(path, "a");
    if (results == nullptr || other == nullptr || dup2(fileno(other), STDOUT_FILENO) < 0) {
        std::perror(path);
        std::exit(1);
    }
    std::fclose(other);
}
