#include "StallModule.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
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

std::vector<std::vector<uint64_t>> stallSessionLines() {
    std::ifstream file(kSessionsFile);
    std::vector<std::vector<uint64_t>> lines;
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) {
        std::istringstream fields(line);
        std::vector<uint64_t> values;
        for (uint64_t value; fields >> value;) values.push_back(value);
        lines.push_back(values);
    }
    return lines;
}

int openStallSessions() {
    if (!std::ifstream(kSessionsFile)) return -1;
    return static_cast<int>(stallSessionLines().size());
}

bool writeControl(const char* path, const std::string& text) {
    std::ofstream file(path);
    file << text;
    file.close();
    return !file.fail();
}

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

bool floodReports(int reports) { return writeControl(kFloodFile, std::to_string(reports) + "\n"); }

bool stallModuleLoaded() { return shell(std::string("grep -q '^") + kStallModule + " ' /proc/modules") == 0; }

bool unloadStallModule() { return shell(std::string("rmmod ") + kStallModule) == 0 && !stallModuleLoaded(); }

bool loadStallModule() {
    const std::string dir = env("MQQOE_KMOD_DIR");
    if (dir.empty()) return false;
    return shell("insmod " + dir + "/" + kStallModule + ".ko " + env("MQQOE_KORUN_PARAMS")) == 0;
}

}  // namespace ktest
