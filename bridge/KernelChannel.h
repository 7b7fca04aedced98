#pragma once
// The two raw netlink channels to the kernel QoE modules: the monitor
// (protocol 24, one socket per command) and the policy channel (protocol 25).

#include <cstddef>
#include <cstdint>

#include "Netlink.h"

namespace mqqoe {

constexpr int kMonitorProtocol = 24;
constexpr int kPolicyProtocol = 25;

// Monitor command codes (nlmsg_type of a monitor command).
constexpr int kMonitorStart = 0;
constexpr int kMonitorQueryTcp = 1;
constexpr int kMonitorReleaseTcp = 2;
constexpr int kMonitorPause = 3;
constexpr int kMonitorNotifyMcc = 5;
constexpr int kMonitorResetRtt = 6;
constexpr int kMonitorGetRtt = 7;
constexpr int kMonitorGetQestaInfo = 8;

// A monitor reply: netlink header and the ten words W0..W9.
constexpr size_t kMonitorReplyWords = 10;
constexpr size_t kMonitorReplySize = 56;
static_assert(kMonitorReplySize == nl::kHeaderSize + kMonitorReplyWords * sizeof(int32_t), "monitor reply layout");

// Policy message types (nlmsg_type on the policy channel).
constexpr uint16_t kPolicyRegister = 0;
constexpr uint16_t kPolicyDpiRule = 3;
constexpr uint16_t kPolicyDpiDisable = 4;
constexpr uint16_t kPolicyDpiEnable = 5;
constexpr uint16_t kPolicyBind = 6;
constexpr uint16_t kPolicyUnbind = 7;
constexpr uint16_t kPolicyResetSockets = 8;
constexpr uint16_t kPolicyCloseSockets = 9;

}  // namespace mqqoe

// A bound policy-channel socket, or -1.
[[nodiscard]] int ntl_link_init();
// One policy message of `length` data bytes; the result of sendto, or -1.
int send_msg_to_kernel(uint16_t type, int value, const char* data, int length, int fd);
// One 16-byte monitor command; the bytes sent or -1.
int send_cmd_kernel(int fd, int command, int argument);

int start_monitor(int fd);
int init_tcp_monitor(int fd);
int process_query_tcp(int fd);
int release_tcp_monitor(int fd);
int pause_monitor(int fd);
int notify_mcc(int fd, int argument);
int reset_rtt(int fd, int argument);
int get_rtt(int fd, int argument);
int get_qesta_info(int fd, int argument);
