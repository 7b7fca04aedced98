// Parameter strings of any content: the key=value parser, the tokenizer and
// the number conversions must accept every byte sequence.
#include <android/log.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "WmpParam.h"
#include "WmpText.h"

namespace {
void dropLog(const __android_logger_data*, const char*) {}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    __android_log_set_logger(dropLog);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const auto entries = wmpcore::split2(input, "\n");
    const wmpcore::Param param = wmpcore::getParamByArr(entries);
    // Every field is a plain value; reading them all must be defined.
    volatile float sink = static_cast<float>(param.maxDist) + param.weightParam + param.connectedStrength;
    (void)sink;
    if (!entries.empty()) {
        // The first line doubles as a separator set for the rest.
        for (const auto& token : wmpcore::split2(input, entries.front())) {
            (void)wmpcore::strToFloat(token);
            (void)wmpcore::floatTostr(wmpcore::parseFloat(token));
            (void)wmpcore::int2str(wmpcore::parseInt(token));
            (void)wmpcore::char2str(token[0]);
        }
    }
    return 0;
}
