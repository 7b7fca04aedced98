#pragma once
// The monitor command and socket policy natives as plain C++, so they can be
// driven without a Java VM; the JNI entry points only convert their results.

#include <array>
#include <cstdint>
#include <optional>

namespace mqqoe {

// Result codes of the socket policy natives.
constexpr int kPolicyOk = 0;
constexpr int kPolicyInitFailed = 0xF001;
constexpr int kPolicyRegisterFailed = 0xF002;
constexpr int kPolicyResetFailed = 0xF003;
constexpr int kPolicyCloseFailed = 0xF004;
constexpr int kPolicyBindFailed = 0xF005;
constexpr int kPolicyUnbindFailed = 0xF006;

// Java command codes of sendQoeCmd.
constexpr int kCmdStartMonitor = 10;
constexpr int kCmdStopMonitor = 11;
constexpr int kCmdQueryTcp = 15;
constexpr int kCmdNotifyMcc = 17;
constexpr int kCmdResetRtt = 18;
constexpr int kCmdGetRtt = 19;
constexpr int kCmdGetQestaInfo = 23;

// The Java view of a monitor reply: W1..W9, then W0.
using QoeReply = std::array<int32_t, 10>;

// The reply of a query command; nothing for the other commands and failures.
[[nodiscard]] std::optional<QoeReply> sendQoeCmdImpl(int command, int argument);
[[nodiscard]] int setDpiMarkRuleImpl(int first, int second, int enable);
[[nodiscard]] int resetProcessSocketsImpl(int uid);
[[nodiscard]] int closeProcessSocketsImpl(int first, int second);
[[nodiscard]] int bindUidProcessToNetworkImpl(int netId, int uid);
int handleSocketStrategyImpl(int strategy, int uid);

// Closes the policy channel, if open (the next policy native reopens it).
void closePolicyChannel();

}  // namespace mqqoe
