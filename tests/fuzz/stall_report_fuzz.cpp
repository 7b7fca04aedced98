// Arbitrary bytes as one message received on the stall engine's socket, read
// the three ways the engine reads what arrives: as the controller's reply to
// the family lookup, as an acknowledgement, and as a report through both
// report parsers (a parsed short-video report then goes to the detector).

#include "AwemeCatonDetection.h"
#include "GenlChannel.h"
#include "NetlinkHandler.h"

#include <android/log.h>

#include <algorithm>
#include <cstring>

using namespace mqqoe;  // NOLINT: the engine under test

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

    genl_msg buffer;
    std::memset(&buffer, 0, sizeof(buffer));
    const size_t received = std::min(size, sizeof(buffer));
    std::memcpy(&buffer, data, received);
    // Mostly our own uid, so that parsing goes past the first attribute.
    uint32_t uid = 0;
    std::memcpy(&uid, buffer.buf + 4, sizeof(uid));
    handler->setUid((size % 8 == 0) ? -1 : static_cast<int32_t>(uid));

    uint16_t familyId = 0;
    (void)nl::parseFamilyReply(&buffer, received, &familyId);
    (void)nl::checkAck(&buffer, received);
    nl::Message message;
    uint8_t command = 0;
    if (handler->checkReportHeader(buffer, static_cast<ssize_t>(received), &message, &command) != 0) return 0;
    int values[4];
    (void)handler->paserThroughputReport(message, &values[0], &values[1], &values[2], &values[3]);
    AwemeReportPara record;
    std::memset(&record, 0, sizeof(record));
    if (handler->paserDouyinDetectionReport(message, &record) == 0) {
        int result = 0;
        bool reported = false;
        detector.inputSample(&record, &result, reported);
    }
    return 0;
}
