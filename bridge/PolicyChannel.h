#pragma once
// The policy channel (netlink protocol 25): DPI mark rules and the socket
// commands for a uid. One socket, opened and registered with the kernel
// module on first use and dropped after any failed send, so that the next
// call starts afresh. Results are 0 or one of the codes below (or, for a
// bind, the network client's own cause).

#include <mutex>

#include "UniqueFd.h"

namespace mqqoe {

constexpr int kPolicyOk = 0;
constexpr int kPolicyInitFailed = 0xF001;
constexpr int kPolicyRegisterFailed = 0xF002;
constexpr int kPolicyResetFailed = 0xF003;
constexpr int kPolicyCloseFailed = 0xF004;
constexpr int kPolicyBindFailed = 0xF005;
constexpr int kPolicyUnbindFailed = 0xF006;

class PolicyChannel {
public:
    PolicyChannel() = default;
    PolicyChannel(const PolicyChannel&) = delete;
    PolicyChannel& operator=(const PolicyChannel&) = delete;

    // 0 or -1.
    [[nodiscard]] int setDpiMarkRule(int first, int second, int enable);
    [[nodiscard]] int resetProcessSockets(int uid);
    [[nodiscard]] int closeProcessSockets(int first, int second);
    [[nodiscard]] int bindUidProcessToNetwork(int netId, int uid);

private:
    enum class Open { kReady, kOpened, kInitFailed, kRegisterFailed };

    // Opens and registers the socket unless it is open already.
    Open open();
    // open() for the socket commands: a failure is logged with the command's
    // own text and becomes its result code.
    [[nodiscard]] int openForSockets(const char* initFailed, const char* registerFailed);
    // One message; a failed send drops the socket.
    [[nodiscard]] bool send(uint16_t type, const void* data, size_t length);
    template <typename Record>
    [[nodiscard]] bool send(uint16_t type, const Record& record) {
        return send(type, &record, sizeof(record));
    }

    // Held for a whole command, so concurrent natives cannot interleave
    // their messages or close the socket under each other.
    std::mutex mLock;
    nl::UniqueFd mSocket;
};

}  // namespace mqqoe
