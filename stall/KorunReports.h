#pragma once
// Reading what the stall module reports: a message with a valid header and
// its command, then the attributes in the fixed order of that command, the
// first naming the watched uid. Every rejection is logged; nothing is read
// past the message.

#include "AwemeReportPara.h"
#include "KorunProtocol.h"
#include "MessageParser.h"

#include <sys/types.h>

#include <cstdint>

namespace mqqoe::korun {

// The counters of one KORUN_CMD_TP_REPORT, as the kernel sends them.
struct ThroughputReport {
    uint32_t inPkts;
    uint32_t outPkts;
    uint32_t inBytes;
    uint32_t outBytes;
};

// A report with a valid header: `message` views it, `command` is its command.
[[nodiscard]] bool readReportHeader(const genl_msg& buffer, ssize_t received, nl::Message* message,
                                    uint8_t* command);
// Written only once every attribute was found.
[[nodiscard]] bool readThroughputReport(const nl::Message& message, int32_t uid, ThroughputReport* report);
[[nodiscard]] bool readAwemeReport(const nl::Message& message, int32_t uid, AwemeReportPara* record);

}  // namespace mqqoe::korun
