// Arbitrary bytes as one received kernel report: header check, both report
// parsers and, for a parsed short-video report, the detector.

#include "AwemeCatonDetection.h"
#include "NetlinkHandler.h"

#include <android/log.h>

#include <algorithm>
#include <cstring>

namespace {

void discard(const __android_logger_data*, const char*) {}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static NetlinkHandler* handler = [] {
        __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);  // still format every line
        __android_log_set_logger(discard);
        return new NetlinkHandler();
    }();
    static AwemeCatonDetection detector;

    genl_msg message;
    std::memset(&message, 0, sizeof(message));
    size_t received = std::min(size, sizeof(message));
    std::memcpy(&message, data, received);
    // Mostly our own uid, so that parsing goes past the first attribute.
    uint32_t uid = 0;
    std::memcpy(&uid, message.buf + 4, sizeof(uid));
    handler->mUid = (size % 8 == 0) ? -1 : static_cast<int32_t>(uid);

    (void)handler->checkReportHeader(message, static_cast<ssize_t>(received));
    int values[4];
    (void)handler->paserThroughputReport(&message, &values[0], &values[1], &values[2], &values[3]);
    AwemeReportPara record;
    std::memset(&record, 0, sizeof(record));
    if (handler->paserDouyinDetectionReport(&message, &record) == 0) {
        int result = 0;
        bool reported = false;
        detector.inputSample(&record, &result, reported);
    }
    return 0;
}
