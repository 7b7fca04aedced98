// Arbitrary report sequences for each detector. The first byte picks the
// detector; the rest is read as reports until it runs out.

#include "AudioCatonDetection.h"
#include "AwemeCatonDetection.h"
#include "VideoCatonDetection.h"

#include <android/log.h>

#include <cstring>

using namespace mqqoe;  // NOLINT: the engine under test

namespace {

void discard(const __android_logger_data*, const char*) {}

// Reads values off the input; past its end they come out zero.
struct Input {
    const uint8_t* data;
    size_t size;
    bool empty() const { return size == 0; }
    template <typename T>
    T take() {
        T value{};
        size_t n = size < sizeof(value) ? size : sizeof(value);
        std::memcpy(&value, data, n);
        data += n;
        size -= n;
        return value;
    }
};

void feedCounts(CatonDetection& d, Input& in) {
    while (!in.empty()) {
        int result = 0;
        int packets = in.take<int32_t>();
        d.inputSample(packets, in.take<int32_t>(), &result);
    }
}

void feedVideo(Input& in, int interval) {
    VideoCatonDetection d;
    d.setInterval(interval);
    float features[6];
    for (float& f : features) f = in.take<float>();
    d.setAlgoThreshold(in.take<float>());
    d.predict2S(features);
    feedCounts(d, in);
}

void feedAweme(Input& in) {
    AwemeCatonDetection d;
    int32_t para[9];
    for (int32_t& p : para) p = in.take<int8_t>();
    d.setAwemeCatonPara({para[0], para[1], para[2], para[3], para[4], para[5], para[6], para[7], para[8]});
    while (!in.empty()) {
        AwemeReportPara r{};
        r.detect_index = in.take<uint8_t>() % 12;  // now and then out of range
        r.cur_index = in.take<uint8_t>() % 11;
        r.detect_state = in.take<uint8_t>() % 4;
        StallInfoEntry& e = r.stall_info[r.detect_index % 10];
        e.loaded_base = in.take<uint32_t>();
        e.total = in.take<uint32_t>();
        e.range_start = in.take<uint16_t>();
        e.l_inbytes = in.take<uint16_t>();
        e.timescale = in.take<int8_t>();
        e.dur = in.take<int16_t>();
        for (char& c : e.video) c = static_cast<char>(in.take<uint8_t>() | 0x40);  // no terminator
        int result = 0;
        bool reported = false;
        d.inputSample(&r, (r.cur_index & 1) ? &result : nullptr, reported);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);  // still format every line
    __android_log_set_logger(discard);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in{data, size};
    const int kind = in.take<uint8_t>() % 4;
    if (kind < 2) {
        feedVideo(in, kind == 0 ? 100 : 2000);
    } else if (kind == 2) {
        AudioCatonDetection d;
        d.setDetectionAlgoType(0);
        d.setSwitchThreshold(in.take<int8_t>());
        feedCounts(d, in);
    } else {
        feedAweme(in);
    }
    return 0;
}
