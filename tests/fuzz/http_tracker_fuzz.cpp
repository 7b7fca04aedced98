// The stall module's short-video tracker on arbitrary traffic: segments of
// any flow, direction, sequence and content, reports and updates in between.
// Every report must carry only possible figures.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

extern "C" {
#include "http_tracker.h"
}

#include "SearchKeys.h"

namespace {

void check(const kt_report& r) {
    if (r.valid_num > KORUN_STALL_INFO_ENTRIES || r.cur_index >= KORUN_STALL_INFO_ENTRIES ||
        r.detect_index >= KORUN_STALL_INFO_ENTRIES || r.detect_state > KORUN_DETECT_ONGOING) {
        std::abort();
    }
    for (const korun_stall_info& e : r.entry) {
        if (std::memchr(e.video, '\0', sizeof(e.video)) == nullptr || e.total > KT_LENGTH_MAX ||
            (e.total != 0 && uint64_t(e.range_start) + e.in_bytes > e.total) || e.timescale < 0 || e.dur < 0 ||
            (e.timescale == 0 && e.dur != 0) || (e.timescale != 0 && e.dur / e.timescale > KT_DURATION_MAX_S)) {
            std::abort();
        }
    }
}

// The keys the library sends for a short-video type.
korun_search_keys keys(bool picture) {
    mqqoe::KorunSearchKeys library;
    korun_search_keys record = {};
    if (mqqoe::searchKeysForType(picture ? 100701 : 100501, &library)) {
        std::memcpy(&record, &library, sizeof(record));
    }
    return record;
}

}  // namespace

// Each operation: a control byte (flow in the low bits, kind in the high
// bits), a sequence step and a length, then that many payload bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    auto tracker = std::make_unique<kt_tracker>();
    const bool picture = data[0] & 1;
    korun_search_keys k = keys(picture);
    kt_init(tracker.get(), &k, picture);
    uint32_t seq[4][2] = {};
    size_t at = 1;
    while (at + 4 <= size) {
        const uint8_t control = data[at];
        const uint64_t flow = 1 + (control & 3);
        const int dir = (control >> 2) & 1;
        const int8_t step = static_cast<int8_t>(data[at + 1]);
        const uint16_t length = static_cast<uint16_t>(data[at + 2] | data[at + 3] << 8) % 2048;
        at += 4;
        const size_t take = length < size - at ? length : size - at;
        switch (control >> 5) {
            case 0:
                if (dir) {
                    kt_flow_end(tracker.get(), flow);
                } else {
                    kt_flow_start(tracker.get(), flow, step & 1 ? KT_INBOUND : KT_OUTBOUND, seq[flow - 1][step & 1]);
                }
                break;
            case 1: {
                kt_report r;
                kt_take_report(tracker.get(), &r);
                check(r);
                (void)kt_update(tracker.get(), data[at - 2] % 12, data[at - 1] % 4);
                break;
            }
            case 2:
            case 3: {
                // A well-formed frame around fuzzed bytes, so that the parser's
                // deeper states are reached: a video request, or a response head.
                std::string frame = (control >> 5) == 2
                        ? "GET /video/m/a?rk=1&k=" + std::string(reinterpret_cast<const char*>(data + at), take) +
                                  "&\r\nRange: bytes=" + std::to_string(length) + "-\r\n\r\n"
                        : "HTTP/1.1 206 P\r\nContent-Range: bytes " + std::to_string(step & 3) + "-" +
                                  std::to_string(length) + "/" + std::to_string(length * 2) +
                                  "\r\nContent-Length: " + std::to_string(length) + "\r\n\r\n" +
                                  std::string(reinterpret_cast<const char*>(data + at), take);
                uint32_t& s = seq[flow - 1][(control >> 5) == 2 ? 0 : 1];
                kt_segment(tracker.get(), flow, (control >> 5) == 2 ? KT_OUTBOUND : KT_INBOUND, s,
                           reinterpret_cast<const uint8_t*>(frame.data()), static_cast<uint32_t>(frame.size()));
                s += static_cast<uint32_t>(frame.size());
                at += take;
                break;
            }
            default: {
                uint32_t& s = seq[flow - 1][dir];
                s += static_cast<uint32_t>(static_cast<int32_t>(step));  // back steps retransmit
                kt_segment(tracker.get(), flow, dir ? KT_INBOUND : KT_OUTBOUND, s, data + at,
                           static_cast<uint32_t>(take));
                s += static_cast<uint32_t>(take);
                at += take;
            }
        }
    }
    kt_report r;
    kt_take_report(tracker.get(), &r);
    check(r);
    return 0;
}
