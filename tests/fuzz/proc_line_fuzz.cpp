// Arbitrary text as lines of the three proc tables, through the readers'
// own scanners and their fixed buffers.

#include <cstdint>
#include <string>

#include "TrafficStats.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        const std::string line = text.substr(start, end - start + (end < text.size() ? 1 : 0));
        mqqoe::AccountingLine parsed;
        int uid = 0;
        (void)mqqoe::scanAccountingLine(line.c_str(), &parsed);
        (void)mqqoe::scanUdpLine(line.c_str(), &uid);
        (void)mqqoe::scanUdp6Line(line.c_str(), &uid);
        start = end + 1;
    }
    return 0;
}
