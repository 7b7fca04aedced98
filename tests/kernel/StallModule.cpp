#include "StallModule.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>

#include "TrafficPeer.h"

namespace ktest {
namespace {

constexpr char kSessionsFile[] = "/sys/kernel/debug/zvkorun/sessions";
constexpr char kFloodFile[] = "/sys/kernel/debug/zvkorun/flood";

std::string env(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

}  // namespace

int openStallSessions() {
    std::ifstream file(kSessionsFile);
    if (!file) return -1;
    int sessions = 0;
    for (std::string line; std::getline(file, line);) {
        // One line per session, each starting with its port id.
        if (!line.empty() && line[0] >= '0' && line[0] <= '9') ++sessions;
    }
    return sessions;
}

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

bool floodReports(int reports) {
    std::ofstream file(kFloodFile);
    file << reports << '\n';
    file.close();
    return !file.fail();
}

bool stallModuleLoaded() { return shell(std::string("grep -q '^") + kStallModule + " ' /proc/modules") == 0; }

bool unloadStallModule() { return shell(std::string("rmmod ") + kStallModule) == 0 && !stallModuleLoaded(); }

bool loadStallModule() {
    const std::string dir = env("MQQOE_KMOD_DIR");
    if (dir.empty()) return false;
    return shell("insmod " + dir + "/" + kStallModule + ".ko " + env("MQQOE_KORUN_PARAMS")) == 0;
}

}  // namespace ktest
