#pragma once
// The nine settings of the short-video vote: per step kind (1, 2, 3 and 6
// seconds of shortfall) the consecutive (m) and total (mR) mark counts that
// declare a stall, and the user type.

#include <cstdint>

namespace mqqoe {

struct AwemeCatonPara {
    int32_t m1s = 3;
    int32_t mR1s = 4;
    int32_t m2s = 2;
    int32_t mR2s = 3;
    int32_t m3s = 1;
    int32_t mR3s = 1;
    int32_t m6s = 1;
    int32_t mR6s = 1;
    int32_t userType = 0;  // 1: the 6-second marks vote; 2: a 3-second shortfall stops the video

    // The service packs the eight counts into the algorithm type, four bits
    // each, m1s in the lowest nibble.
    static AwemeCatonPara unpack(int32_t algoType, int32_t userType) {
        constexpr int kBits = 4;
        constexpr uint32_t kMask = 0xF;
        const auto bits = static_cast<uint32_t>(algoType);
        auto nibble = [bits](int i) { return static_cast<int32_t>((bits >> (kBits * i)) & kMask); };
        return {nibble(0), nibble(1), nibble(2), nibble(3), nibble(4), nibble(5), nibble(6), nibble(7), userType};
    }
};

}  // namespace mqqoe
