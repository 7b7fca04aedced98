// Real traffic for the kernel tier's JVM suites and for trying the modules
// by hand in the test VM, each in this very process (so that a signal to it,
// SIGSTOP say, reaches the traffic):
//   kernel_traffic udp-echo PORT                     far end, in the peer namespace
//   kernel_traffic udp-stream PORT PER_SECOND SIZE   as the app uid, to it
// Both run until killed.

#include <netinet/in.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "TrafficPeer.h"

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "udp-echo") == 0) {
        if (!ktest::enterNetns(ktest::kPeerNetns)) return 1;
        return ktest::udpEchoLoop(static_cast<uint16_t>(std::atoi(argv[2])));
    }
    if (argc == 5 && std::strcmp(argv[1], "udp-stream") == 0) {
        if (!ktest::becomeUid(ktest::kAppUid)) return 1;
        return ktest::udpStreamLoop(AF_INET, static_cast<uint16_t>(std::atoi(argv[2])), std::atoi(argv[3]),
                                    std::strtoul(argv[4], nullptr, 10));
    }
    std::fprintf(stderr, "usage: %s udp-echo PORT | udp-stream PORT PER_SECOND SIZE\n", argv[0]);
    return 2;
}
