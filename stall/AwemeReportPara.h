#pragma once
// The short-video report record: what the kernel says about the video
// downloads it matched, filled from one KORUN_CMD_AWEME_REPORT.

#include "KorunProtocol.h"

#include <cstddef>
#include <cstdint>

namespace mqqoe {

// One matched download (80 bytes).
struct StallInfoEntry {
    uint8_t reserved[8];
    uint64_t loaded_base;  // bytes loaded before the tracked range
    uint64_t total;        // resource length, 0 when unknown
    char video[KORUN_VIDEO_KEY_LEN];  // NUL-terminated video key
    uint32_t range_start;  // range start bytes, part of the loaded amount
    uint32_t l_inbytes;    // bytes received for the entry
    int32_t timescale;
    int32_t dur;  // duration in timescale units
};
static_assert(sizeof(StallInfoEntry) == korun::kStallInfoEntrySize, "stall info entry layout");
static_assert(offsetof(StallInfoEntry, loaded_base) == 8 && offsetof(StallInfoEntry, total) == 16 &&
              offsetof(StallInfoEntry, video) == 24 && offsetof(StallInfoEntry, range_start) == 64 &&
              offsetof(StallInfoEntry, l_inbytes) == 68 && offsetof(StallInfoEntry, timescale) == 72 &&
              offsetof(StallInfoEntry, dur) == 76,
              "stall info entry fields");
// The same bytes as the module's own record.
static_assert(sizeof(StallInfoEntry) == sizeof(korun_stall_info) &&
                      offsetof(StallInfoEntry, loaded_base) == offsetof(korun_stall_info, loaded_base) &&
                      offsetof(StallInfoEntry, total) == offsetof(korun_stall_info, total) &&
                      offsetof(StallInfoEntry, video) == offsetof(korun_stall_info, video) &&
                      sizeof(StallInfoEntry::video) == KORUN_VIDEO_KEY_LEN &&
                      offsetof(StallInfoEntry, range_start) == offsetof(korun_stall_info, range_start) &&
                      offsetof(StallInfoEntry, l_inbytes) == offsetof(korun_stall_info, in_bytes) &&
                      offsetof(StallInfoEntry, timescale) == offsetof(korun_stall_info, timescale) &&
                      offsetof(StallInfoEntry, dur) == offsetof(korun_stall_info, dur),
              "stall info entry as the module lays it out");

struct AwemeReportPara {
    uint32_t detect_index;  // entry under detection
    uint32_t cur_index;     // newest entry
    uint32_t valid_num;
    uint32_t detect_state;  // 0 stop, 1 new request, other values continuing
    StallInfoEntry stall_info[korun::kStallInfoEntries];
    uint32_t update_flag;  // set by the detector: tell the kernel to stop this video
    uint32_t reserved;
};
static_assert(sizeof(AwemeReportPara) == 824, "short-video report layout");
static_assert(offsetof(AwemeReportPara, cur_index) == 4 && offsetof(AwemeReportPara, valid_num) == 8 &&
              offsetof(AwemeReportPara, detect_state) == 12,
              "report header fields");
static_assert(offsetof(AwemeReportPara, stall_info) == 16 && sizeof(AwemeReportPara::stall_info) == korun::kStallInfoSize,
              "stall info block");
static_assert(offsetof(AwemeReportPara, update_flag) == 816 && offsetof(AwemeReportPara, reserved) == 820,
              "update flag offset");

}  // namespace mqqoe
