// Real traffic for the kernel tier's JVM test and for trying the modules by
// hand in the test VM:
//   kernel_traffic udp-echo PORT                 far end in the peer namespace
//   kernel_traffic udp-stream PORT PER_SECOND SIZE   as the app uid, to it
// Both run until killed.

#include <netinet/in.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "TrafficPeer.h"

namespace {

int usage(const char* self) {
    std::fprintf(stderr, "usage: %s udp-echo PORT | udp-stream PORT PER_SECOND SIZE\n", self);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "udp-echo") == 0) {
        ktest::Child echo = ktest::startUdpEcho(static_cast<uint16_t>(std::atoi(argv[2])));
        return echo.wait(std::chrono::hours(24));
    }
    if (argc == 5 && std::strcmp(argv[1], "udp-stream") == 0) {
        ktest::Child stream = ktest::startUdpStream(AF_INET, static_cast<uint16_t>(std::atoi(argv[2])),
                                                    std::atoi(argv[3]), std::strtoul(argv[4], nullptr, 10));
        return stream.wait(std::chrono::hours(24));
    }
    return usage(argv[0]);
}
