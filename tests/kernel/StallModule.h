#pragma once
// The stall module as the kernel-tier tests steer it: its debugfs controls
// and unloading and reloading it from the harness's build of the modules.

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace ktest {

constexpr char kStallModule[] = "zvkorun";

// The numbers of each session line of the module's debugfs state file
// (header skipped): port, uid, class, interval, reports, ...
[[nodiscard]] std::vector<std::vector<uint64_t>> stallSessionLines();
// Sessions the module holds now, or -1 without the state file.
[[nodiscard]] int openStallSessions();
// Writes one control line to a debugfs or sysfs file.
[[nodiscard]] bool writeControl(const char* path, const std::string& text);
// Until `done` holds, polling; false when `timeout` passed first.
[[nodiscard]] bool waitUntil(const std::function<bool()>& done,
                             std::chrono::milliseconds timeout = std::chrono::seconds(10));
// Sends `reports` throughput reports at once to every session.
[[nodiscard]] bool floodReports(int reports);
// rmmod / insmod (with the parameters the harness loaded it with).
[[nodiscard]] bool unloadStallModule();
[[nodiscard]] bool loadStallModule();
[[nodiscard]] bool stallModuleLoaded();

}  // namespace ktest
