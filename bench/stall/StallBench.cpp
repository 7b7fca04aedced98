#include "AppScene.h"
#include "AudioCatonDetection.h"
#include "AwemeCatonDetection.h"
#include "NetlinkHandler.h"
#include "VideoCatonDetection.h"

#include <GenlKernel.h>
#include <android/log.h>
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>

using namespace mqqoe;  // NOLINT: the engine under test

namespace genl = kemu::genl;

namespace {

constexpr int kUid = 10123;

// Log lines are formatted as in production, then dropped.
void discard(const __android_logger_data*, const char*) {}
const bool kQuiet = [] {
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(discard);
    return true;
}();

genl_msg asReceived(const kemu::Bytes& bytes) {
    genl_msg message;
    std::memset(&message, 0, sizeof(message));
    std::memcpy(&message, bytes.data(), bytes.size());
    return message;
}

genl_msg throughputReport(uint32_t inPkts, uint32_t inBytes) {
    auto u32 = genl::u32Payload;
    return asReceived(genl::message(genl::kDefaultFamilyId, KORUN_CMD_TP_REPORT,
                                    {{1, u32(kUid)}, {4, u32(inPkts)}, {5, u32(3)}, {6, u32(inBytes)}, {7, u32(900)}}));
}

genl_msg awemeReport(uint32_t state) {
    kemu::Bytes info;
    genl::setStallEntry(info, 2, 100000, 2000000, "v0200fg10000cbq4u3jc77u", 0, 4000, 1000, 15000);
    auto u32 = genl::u32Payload;
    return asReceived(genl::message(genl::kDefaultFamilyId, KORUN_CMD_AWEME_REPORT,
                                    {{1, u32(kUid)}, {9, u32(2)}, {10, u32(2)}, {11, u32(3)}, {12, u32(state)}, {13, info}}));
}

NetlinkHandler& parser() {
    static NetlinkHandler* handler = [] {
        auto* h = new NetlinkHandler();
        h->setUid(kUid);
        return h;
    }();
    return *handler;
}

// The received message in `buffer`, as the report path sees it.
nl::Message view(const genl_msg& buffer) {
    nl::Message message;
    if (!nl::Message::parse(&buffer, buffer.n.nlmsg_len, &message)) std::abort();
    return message;
}

// Parse one throughput report and give it to `detector`, per iteration.
void parseAndDetect(benchmark::State& state, CatonDetection& detector) {
    const genl_msg buffer = throughputReport(11, 4000);
    const nl::Message message = view(buffer);
    int packets = 0, bytes = 0, result = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(parser().paserThroughputReport(message, &packets, nullptr, &bytes, nullptr));
        benchmark::DoNotOptimize(detector.inputSample(packets, bytes, &result));
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_ParseThroughputReport(benchmark::State& state) {
    const genl_msg buffer = throughputReport(11, 4000);
    const nl::Message message = view(buffer);
    int values[4];
    for (auto _ : state) {
        benchmark::DoNotOptimize(parser().paserThroughputReport(message, &values[0], &values[1], &values[2], &values[3]));
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_ParseAndDetectVideo100ms(benchmark::State& state) {
    VideoCatonDetection d;
    d.setInterval(100);
    parseAndDetect(state, d);
}

void BM_ParseAndDetectVideo2s(benchmark::State& state) {
    VideoCatonDetection d;
    d.setDetectionAlgoType(0);
    parseAndDetect(state, d);
}

void BM_ParseAndDetectAudio(benchmark::State& state) {
    AudioCatonDetection d;
    d.setDetectionAlgoType(0);
    parseAndDetect(state, d);
}

// One request that continues: every report is a new second and steps the detector.
void BM_ParseAndDetectAweme(benchmark::State& state) {
    AwemeCatonDetection d;
    const genl_msg reports[] = {awemeReport(1), awemeReport(2)};
    const nl::Message messages[] = {view(reports[0]), view(reports[1])};
    AwemeReportPara record;
    int result = 0;
    bool reported = false;
    size_t i = 0;
    for (auto _ : state) {
        std::memset(&record, 0, sizeof(record));
        benchmark::DoNotOptimize(parser().paserDouyinDetectionReport(messages[i++ & 1], &record));
        benchmark::DoNotOptimize(d.inputSample(&record, &result, reported));
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_Predict2S(benchmark::State& state) {
    VideoCatonDetection d;
    const float features[6] = {1669.0f, 7907.0f, 0, 5000, 8856.0f, 942.0f};
    for (auto _ : state) benchmark::DoNotOptimize(d.predict2S(features));
}

// Push a report into the emulated kernel, then receive, parse and detect it.
void BM_EmulatorLoop(benchmark::State& state, int type) {
    kemu::reset();
    NetlinkHandler handler;
    if (handler.start() != 0) {
        state.SkipWithError("start failed");
        return;
    }
    handler.setUid(kUid);
    handler.setDetectionType(type);
    handler.setDetectionAlgo(0);
    if (handler.startCollecting() != 0) {
        state.SkipWithError("startCollecting failed");
        return;
    }
    int out = 0, in = 0, result = 0;
    bool reported = false;
    kemu::Bytes info;
    genl::setStallEntry(info, 2, 100000, 2000000, "v0200fg10000", 0, 4000, 1000, 15000);
    for (auto _ : state) {
        if (type == scene::kShortVideo) {
            genl::pushAwemeReport(kUid, 2, 2, 3, 1, info);
        } else {
            genl::pushThroughputReport(kUid, 11, 3, 4000, 900);
        }
        benchmark::DoNotOptimize(handler.getDetectionResult(&out, &in, &result, reported));
    }
    state.SetItemsProcessed(state.iterations());
    handler.stopCollecting();
    handler.stop();
}

}  // namespace

BENCHMARK(BM_ParseThroughputReport);
BENCHMARK(BM_ParseAndDetectVideo100ms);
BENCHMARK(BM_ParseAndDetectVideo2s);
BENCHMARK(BM_ParseAndDetectAudio);
BENCHMARK(BM_ParseAndDetectAweme);
BENCHMARK(BM_Predict2S);
BENCHMARK_CAPTURE(BM_EmulatorLoop, video, scene::kVideoCall);
BENCHMARK_CAPTURE(BM_EmulatorLoop, voice, scene::kVoiceCall);
BENCHMARK_CAPTURE(BM_EmulatorLoop, shortVideo, scene::kShortVideo);

BENCHMARK_MAIN();
