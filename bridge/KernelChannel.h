#pragma once
// The two raw netlink channels to the kernel QoE modules: the monitor
// (protocol 24, one socket per command) and the policy channel (protocol 25).

#include <cstddef>
#include <cstdint>

#include "Netlink.h"
#include "mqqoe_netlink.h"

namespace mqqoe {

constexpr int kMonitorProtocol = QOE_MONITOR_PROTOCOL;
constexpr int kPolicyProtocol = QOE_POLICY_PROTOCOL;

// Monitor command codes (nlmsg_type of a monitor command).
constexpr int kMonitorStart = QOE_MONITOR_START;
constexpr int kMonitorQueryTcp = QOE_MONITOR_QUERY_TCP;
constexpr int kMonitorReleaseTcp = QOE_MONITOR_RELEASE_TCP;
constexpr int kMonitorPause = QOE_MONITOR_PAUSE;
constexpr int kMonitorNotifyMcc = QOE_MONITOR_NOTIFY_MCC;
constexpr int kMonitorResetRtt = QOE_MONITOR_RESET_RTT;
constexpr int kMonitorGetRtt = QOE_MONITOR_GET_RTT;
constexpr int kMonitorGetQestaInfo = QOE_MONITOR_GET_QESTA_INFO;

// A monitor reply: netlink header and the ten words W0..W9.
constexpr size_t kMonitorReplyWords = QOE_MONITOR_REPLY_WORDS;
constexpr size_t kMonitorReplySize = QOE_MONITOR_REPLY_LEN;
static_assert(kMonitorReplySize == nl::kHeaderSize + kMonitorReplyWords * sizeof(int32_t), "monitor reply layout");

// Policy message types (nlmsg_type on the policy channel).
constexpr uint16_t kPolicyRegister = QOE_POLICY_REGISTER;
constexpr uint16_t kPolicyDpiRule = QOE_POLICY_DPI_RULE;
constexpr uint16_t kPolicyDpiDisable = QOE_POLICY_DPI_DISABLE;
constexpr uint16_t kPolicyDpiEnable = QOE_POLICY_DPI_ENABLE;
constexpr uint16_t kPolicyBind = QOE_POLICY_BIND;
constexpr uint16_t kPolicyUnbind = QOE_POLICY_UNBIND;
constexpr uint16_t kPolicyResetSockets = QOE_POLICY_RESET_SOCKETS;
constexpr uint16_t kPolicyCloseSockets = QOE_POLICY_CLOSE_SOCKETS;

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
