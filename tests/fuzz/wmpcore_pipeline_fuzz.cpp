// Fingerprint rows of any shape through the three pipelines. Input lines
// starting with '@' are parameter strings, the others are rows; when the
// first byte is odd a well-formed header is put in front, so that the data
// rows reach the selection and clustering stages more often.
#include <android/log.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "WmpParam.h"
#include "WmpPipelines.h"
#include "WmpText.h"

namespace {

constexpr char kHeader[] = "orginBatch,batch,label,timestamp,link_speed,b1,b2,b3,b4";

void dropLog(const __android_logger_data*, const char*) {}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    __android_log_set_logger(dropLog);
    // The core's trace lines go to stdout; libFuzzer reports on stderr.
    const int devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (devNull >= 0) {
        dup2(devNull, STDOUT_FILENO);
        close(devNull);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    std::vector<std::string> rows;
    std::vector<std::string> params;
    if ((data[0] & 1) != 0) rows.emplace_back(kHeader);
    const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
    for (const auto& line : wmpcore::split2(input, "\n")) {
        if (line[0] == '@') {
            params.push_back(line.substr(1));
        } else {
            rows.push_back(line);
        }
    }
    const wmpcore::Param param = wmpcore::getParamByArr(params);
    (void)wmpcore::trainDataStr(rows, param, {});
    (void)wmpcore::trainData(rows, param);
    (void)wmpcore::getCoreData(rows, param, {});
    return 0;
}
