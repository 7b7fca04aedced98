#pragma once
// The QoE monitor commands of the adapter's nativeSendQoeCmd: one protocol-24
// socket per command, and for the queries the kernel's ten-word reply.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace mqqoe {

// Java command codes.
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
[[nodiscard]] std::optional<QoeReply> sendQoeCommand(int command, int argument);

// A received reply (at most 56 bytes, zero-filled past what arrived) in the
// Java order.
[[nodiscard]] QoeReply replyWords(const uint8_t* buffer, size_t size);

}  // namespace mqqoe
