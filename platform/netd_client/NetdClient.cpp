// Host stand-in of the platform network client library.

#include "NetdClient.h"
#include "NetdClientStandIn.h"

#include <atomic>

namespace {
std::atomic<int> gResult{0};
std::atomic<int> gCalls{0};
std::atomic<unsigned> gLastNetId{0};
std::atomic<unsigned> gLastUid{0};
}  // namespace

extern "C" {

int setUidNetworkForProcess(unsigned int netId, unsigned int uid) {
    gLastNetId = netId;
    gLastUid = uid;
    ++gCalls;
    return gResult;
}

void netdStandInSetResult(int result) { gResult = result; }
int netdStandInCallCount(void) { return gCalls; }
unsigned int netdStandInLastNetId(void) { return gLastNetId; }
unsigned int netdStandInLastUid(void) { return gLastUid; }
void netdStandInReset(void) {
    gResult = 0;
    gCalls = 0;
    gLastNetId = 0;
    gLastUid = 0;
}

}  // extern "C"
