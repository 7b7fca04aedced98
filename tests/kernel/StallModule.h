#pragma once
// The stall module as the kernel-tier tests steer it: its debugfs controls
// and unloading and reloading it from the harness's build of the modules.

#include <chrono>
#include <functional>
#include <string>

namespace ktest {

constexpr char kStallModule[] = "zvkorun";

// Sessions the module holds now (its debugfs state file), or -1.
[[nodiscard]] int openStallSessions();
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
