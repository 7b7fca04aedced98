// Wire formats and send routines of the monitor and policy netlink channels.

#include "KernelChannel.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <memory>
#include <new>

#include "BridgeLog.h"
#include "MessageBuilder.h"
#include "Netlink.h"
#include "UniqueFd.h"
#include "securec.h"

using namespace mqqoe;

namespace {

constexpr timeval kSendTimeout = {1, 0};
// A policy message is the header, a 32-bit value and the data. The kernel
// module expects nlmsg_len one byte longer than that; the buffer has room
// for a whole extra word.
constexpr size_t kPolicyHeaderAndValue = nl::kHeaderSize + QOE_POLICY_VALUE_LEN;
constexpr size_t kPolicyLengthExtra = QOE_POLICY_LEN_EXTRA;
constexpr size_t kPolicyBufferExtra = kPolicyHeaderAndValue + sizeof(int32_t);
static_assert(kPolicyLengthExtra == kPolicyHeaderAndValue + 1 && kPolicyBufferExtra == 24, "policy message framing");

sockaddr_nl kernelAddress() {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    return address;
}

}  // namespace

int ntl_link_init() {
    nl::UniqueFd fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, kPolicyProtocol));
    if (!fd.valid()) {
        QLOGE("Cant create netlink socket\n");
        return -1;
    }
    sockaddr_nl local{};
    local.nl_family = AF_NETLINK;
    local.nl_pid = static_cast<uint32_t>(getpid());
    local.nl_groups = 0;
    if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) != 0) {
        QLOGE("Cant bind netlink socket\n");
        return -1;
    }
    return fd.release();
}

int send_msg_to_kernel(uint16_t type, int value, const char* data, int length, int fd) {
    // -24 would wrap the buffer size to nothing; no other negative length
    // leaves room for the header either.
    if (length < 0) return -1;
    const size_t size = static_cast<size_t>(length) + kPolicyBufferExtra;
    std::unique_ptr<uint8_t[]> buffer(new (std::nothrow) uint8_t[size]);
    if (!buffer || memset_s(buffer.get(), size, 0, size) != EOK) return -1;

    nl::MessageBuilder message(buffer.get(), size);
    if (!message.putHeader(type, 0, 0, static_cast<uint32_t>(getpid())) || !message.put(static_cast<int32_t>(value))) {
        return -1;
    }
    if (data != nullptr && length != 0 && !message.putBytes(data, static_cast<size_t>(length))) return -1;
    if (!message.setLength(static_cast<size_t>(length) + kPolicyLengthExtra)) return -1;
    const sockaddr_nl peer = kernelAddress();
    return static_cast<int>(
            sendto(fd, message.data(), message.length(), 0, reinterpret_cast<const sockaddr*>(&peer), sizeof(peer)));
}

int send_cmd_kernel(int fd, int command, int argument) {
    sockaddr_nl peer;
    if (memset_s(&peer, sizeof(peer), 0, sizeof(peer)) != EOK) {
        QLOGE("send_cmd_kernel memset failed stKpeer");
        return -1;
    }
    uint8_t buffer[nl::kHeaderSize];
    if (memset_s(buffer, sizeof(buffer), 0, sizeof(buffer)) != EOK) {
        QLOGE("send_cmd_kernel memset failed stMessage");
        return -1;
    }
    peer.nl_family = AF_NETLINK;
    // The protocol carries the argument in the flags; only the QoE query
    // repeats it, whole, in the sequence number.
    nl::MessageBuilder message(buffer, sizeof(buffer));
    if (!message.putHeader(static_cast<uint16_t>(command), static_cast<uint16_t>(argument),
                           command == kMonitorGetQestaInfo ? static_cast<uint32_t>(argument) : 0,
                           static_cast<uint32_t>(getpid()))) {
        return -1;
    }
    if (setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &kSendTimeout, sizeof(kSendTimeout)) != 0) {
        QLOGI("socket option  SO_RCVTIMEO not support\n");
        return -1;
    }
    ssize_t sent = sendto(fd, message.data(), message.length(), 0, reinterpret_cast<const sockaddr*>(&peer),
                          sizeof(peer));
    if (sent == -1) {
        QLOGE("send %d to kernel fail!!!", command);
        return -1;
    }
    return static_cast<int>(sent);
}

int start_monitor(int fd) { return send_cmd_kernel(fd, kMonitorStart, 0); }
int init_tcp_monitor(int fd) { return send_cmd_kernel(fd, kMonitorStart, 0); }
int process_query_tcp(int fd) { return send_cmd_kernel(fd, kMonitorQueryTcp, 0); }
int release_tcp_monitor(int fd) { return send_cmd_kernel(fd, kMonitorReleaseTcp, 0); }
int pause_monitor(int fd) { return send_cmd_kernel(fd, kMonitorPause, 0); }
int notify_mcc(int fd, int argument) { return send_cmd_kernel(fd, kMonitorNotifyMcc, argument); }
int reset_rtt(int fd, int argument) { return send_cmd_kernel(fd, kMonitorResetRtt, argument); }
int get_rtt(int fd, int argument) { return send_cmd_kernel(fd, kMonitorGetRtt, argument); }
int get_qesta_info(int fd, int argument) { return send_cmd_kernel(fd, kMonitorGetQestaInfo, argument); }
