// Wall time and peak memory of the three clustering pipelines on synthetic
// buildings of 1,000 to 50,000 scans with 100 to 500 BSSID columns, and on
// the UJIIndoorLoc validation set when the shared data folder is present.
//
// Every run happens in a forked child, so that its peak resident set
// (ru_maxrss) belongs to that run alone: "peak_MB" is the child's peak,
// "pipeline_MB" the part above what the process held before it copied the
// rows (the copy is counted, as the JNI entry point makes one). The parent
// gives its freed heap back first, so that it does not count in the child.
// Logs are dropped and the core's stdout trace lines go to /dev/null in the
// child.
//
// The child first times the bare parse of the same rows (split each row on
// ',' and strtof every field, the least any pipeline must do with them);
// "x_floor" is the pipeline's time over that floor.

#include <android/log.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "SyntheticBuilding.h"
#include "UjiIndoorLoc.h"
#include "WmpPipelines.h"

namespace {

using Rows = std::vector<std::string>;
using Pipeline = std::function<std::string(Rows, const wmpcore::Param&)>;

constexpr int kMaxBatches = 400;
constexpr int kScansPerBatch = 20;
// The floor is the best of a few parses, as it is short and noisy.
constexpr int kFloorRuns = 3;
constexpr char kFieldSeparator = ',';

struct ChildResult {
    double floorSeconds;
    double seconds;
    long peakKb;
    long baselineKb;
    size_t textBytes;
};

void dropLog(const __android_logger_data*, const char*) {}

long residentKb() {
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    statm >> pages >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Splits every row on ',' and reads each field with strtof.
double parseFloorSeconds(const Rows& rows) {
    double best = 0;
    for (int run = 0; run < kFloorRuns; ++run) {
        const auto start = std::chrono::steady_clock::now();
        float sum = 0.0f;
        for (const std::string& row : rows) {
            const char* field = row.c_str();
            const char* const end = field + row.size();
            while (field < end) {
                const void* comma = std::memchr(field, kFieldSeparator, static_cast<size_t>(end - field));
                sum += std::strtof(field, nullptr);
                field = comma != nullptr ? static_cast<const char*>(comma) + 1 : end;
            }
        }
        benchmark::DoNotOptimize(sum);
        const double seconds = secondsSince(start);
        best = run == 0 ? seconds : std::min(best, seconds);
    }
    return best;
}

[[noreturn]] void runChild(int fd, const Rows& rows, const Pipeline& pipeline) {
    __android_log_set_logger(dropLog);
    const int devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (devNull >= 0) dup2(devNull, STDOUT_FILENO);
    ChildResult result{};
    result.baselineKb = residentKb();
    result.floorSeconds = parseFloorSeconds(rows);
    Rows copy = rows;
    const auto start = std::chrono::steady_clock::now();
    const std::string text = pipeline(std::move(copy), wmpcore::Param{});
    result.seconds = secondsSince(start);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    result.peakKb = usage.ru_maxrss;
    result.textBytes = text.size();
    const bool written = write(fd, &result, sizeof(result)) == static_cast<ssize_t>(sizeof(result));
    _exit(written ? 0 : 1);
}

bool runForked(const Rows& rows, const Pipeline& pipeline, ChildResult& result) {
    int fds[2];
    if (pipe(fds) != 0) return false;
    std::fflush(nullptr);
    malloc_trim(0);
    const pid_t pid = fork();
    if (pid < 0) return false;
    if (pid == 0) {
        close(fds[0]);
        runChild(fds[1], rows, pipeline);
    }
    close(fds[1]);
    const bool got = read(fds[0], &result, sizeof(result)) == static_cast<ssize_t>(sizeof(result));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    return got && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void runPipeline(benchmark::State& state, const std::function<const Rows&()>& data, const Pipeline& pipeline) {
    const Rows& rows = data();
    double peakMb = 0;
    double pipelineMb = 0;
    double textMb = 0;
    double floorSeconds = 0;
    double seconds = 0;
    for (auto _ : state) {
        ChildResult r{};
        if (!runForked(rows, pipeline, r)) {
            state.SkipWithError("child run failed");
            return;
        }
        state.SetIterationTime(r.seconds);
        peakMb = std::max(peakMb, r.peakKb / 1024.0);
        pipelineMb = std::max(pipelineMb, (r.peakKb - r.baselineKb) / 1024.0);
        textMb = static_cast<double>(r.textBytes) / (1024.0 * 1024.0);
        floorSeconds += r.floorSeconds;
        seconds += r.seconds;
    }
    state.counters["rows"] = static_cast<double>(rows.empty() ? 0 : rows.size() - 1);
    state.counters["peak_MB"] = peakMb;
    state.counters["pipeline_MB"] = pipelineMb;
    state.counters["text_MB"] = textMb;
    state.counters["floor_ms"] = 1000.0 * floorSeconds / static_cast<double>(state.iterations());
    state.counters["x_floor"] = floorSeconds > 0 ? seconds / floorSeconds : 0.0;
}

// Only the current size is kept, so that earlier sets do not swell the
// children's peaks.
const Rows& synthetic(int rows, int bssids) {
    static std::pair<int, int> cachedSize;
    static Rows cached;
    if (cachedSize != std::make_pair(rows, bssids)) {
        Rows().swap(cached);
        const int batches = std::min(kMaxBatches, rows / kScansPerBatch);
        cached = fingerprints::generateBuilding(fingerprints::specForSize(rows, bssids, batches)).rows;
        cachedSize = {rows, bssids};
    }
    return cached;
}

std::string sharedDir() {
    const char* env = std::getenv("MQQOE_SHARED_DIR");
    return env != nullptr ? env : MQQOE_DEFAULT_SHARED_DIR;
}

const Rows& uji() {
    static const Rows rows = [] {
        const auto set = fingerprints::loadUjiValidationSet(sharedDir());
        return set ? set->rows : Rows{};
    }();
    return rows;
}

const std::pair<const char*, Pipeline> kPipelines[] = {
    {"trainData", [](Rows rows, const wmpcore::Param& p) { return wmpcore::trainData(std::move(rows), p); }},
    {"trainDataStr", [](Rows rows, const wmpcore::Param& p) { return wmpcore::trainDataStr(std::move(rows), p, {}); }},
    {"getCoreData", [](Rows rows, const wmpcore::Param& p) { return wmpcore::getCoreData(std::move(rows), p, {}); }},
};

void registerAll() {
    if (!uji().empty()) {
        for (const auto& [name, pipeline] : kPipelines) {
            const Pipeline run = pipeline;
            benchmark::RegisterBenchmark((std::string(name) + "/ujiindoorloc").c_str(), [=](benchmark::State& s) {
                runPipeline(s, uji, run);
            })->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
        }
    }
    const std::pair<int, int> sizes[] = {{1000, 100}, {1000, 500}, {10000, 100}, {10000, 200},
                                         {10000, 500}, {50000, 100}, {50000, 500}};
    for (const auto& [rows, bssids] : sizes) {
        for (const auto& [name, pipeline] : kPipelines) {
            const int r = rows;
            const int b = bssids;
            const Pipeline run = pipeline;
            const std::string label = std::string(name) + "/synthetic/" + std::to_string(r) + "x" + std::to_string(b);
            benchmark::RegisterBenchmark(label.c_str(), [=](benchmark::State& s) {
                runPipeline(s, [=]() -> const Rows& { return synthetic(r, b); }, run);
            })->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(r <= 1000 ? 5 : 1);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    registerAll();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
