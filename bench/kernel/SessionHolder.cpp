// Holds one stall session open against the real stall module, the way the
// service's worker does, until SIGTERM or SIGINT: the load the counting hooks
// see in the throughput comparison. Prints the reports it took in.
//   stall_session_holder UID [SCENE]

#include <signal.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "AppScene.h"
#include "NetlinkHandler.h"

namespace {

std::atomic<bool> gStop{false};

void onSignal(int) { gStop = true; }

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: %s UID [SCENE]\n", argv[0]);
        return 2;
    }
    const int uid = std::atoi(argv[1]);
    const int scene = argc == 3 ? std::atoi(argv[2]) : 100105;
    struct sigaction action = {};
    action.sa_handler = onSignal;  // no SA_RESTART: the report wait returns
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);

    mqqoe::NetlinkHandler handler;
    if (handler.start() != 0) return 1;
    handler.setUid(uid);
    if (handler.setDetectionType(scene) != 0 || handler.setDetectionAlgo(0) != 0 ||
        handler.startCollecting() != 0) {
        handler.stop();
        return 1;
    }
    std::printf("session open: uid %d scene %d\n", uid, scene);
    std::fflush(stdout);
    long reports = 0;
    while (!gStop) {
        int out = 0, in = 0, result = 0;
        bool reported = false;
        if (handler.getDetectionResult(&out, &in, &result, reported) < 0) break;
        ++reports;
    }
    handler.stopCollecting();
    handler.stop();
    std::printf("session closed after %ld reports\n", reports);
    return 0;
}
