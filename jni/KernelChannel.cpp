// Wire formats and send routines of the monitor and policy netlink channels.

#include "KernelChannel.h"

#include <android/log.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <memory>
#include <new>

#include "ByteWriter.h"
#include "ScopedResources.h"
#include "ZvQoE_jni.h"
#include "securec.h"

using namespace mqqoe;

namespace {

constexpr timeval kSendTimeout = {1, 0};
// Offsets of a policy message.
constexpr size_t kPolicyValueOffset = sizeof(nlmsghdr);
constexpr size_t kPolicyDataOffset = kPolicyValueOffset + sizeof(int32_t);
// The kernel module expects nlmsg_len one byte longer than header and value;
// the buffer is allocated with room for a whole extra word.
constexpr size_t kPolicyLengthExtra = kPolicyDataOffset + 1;
constexpr size_t kPolicyBufferExtra = kPolicyDataOffset + sizeof(int32_t);

sockaddr_nl kernelAddress() {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    return address;
}

}  // namespace

int ntl_link_init() {
    ScopedFd fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, kPolicyProtocol));
    if (!fd.valid()) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Cant create netlink socket\n");
        return -1;
    }
    sockaddr_nl local{};
    local.nl_family = AF_NETLINK;
    local.nl_pid = static_cast<uint32_t>(getpid());
    local.nl_groups = 0;
    if (bind(fd.get(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Cant bind netlink socket\n");
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

    const uint32_t messageLength = static_cast<uint32_t>(length) + kPolicyLengthExtra;
    nlmsghdr header{};
    header.nlmsg_len = messageLength;
    header.nlmsg_type = type;
    header.nlmsg_pid = static_cast<uint32_t>(getpid());
    ByteWriter writer(buffer.get(), size);
    if (!writer.put(0, header) || !writer.put(kPolicyValueOffset, static_cast<int32_t>(value))) return -1;
    if (data != nullptr && length != 0 &&
        !writer.putBytes(kPolicyDataOffset, data, static_cast<size_t>(length))) {
        return -1;
    }
    const sockaddr_nl peer = kernelAddress();
    return static_cast<int>(sendto(fd, buffer.get(), messageLength, 0, reinterpret_cast<const sockaddr*>(&peer),
                                   sizeof(peer)));
}

int send_cmd_kernel(int fd, int command, int argument) {
    sockaddr_nl peer;
    if (memset_s(&peer, sizeof(peer), 0, sizeof(peer)) != EOK) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "send_cmd_kernel memset failed stKpeer");
        return -1;
    }
    nlmsghdr message;
    if (memset_s(&message, sizeof(message), 0, sizeof(message)) != EOK) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "send_cmd_kernel memset failed stMessage");
        return -1;
    }
    peer.nl_family = AF_NETLINK;
    // The protocol carries the argument in the flags; only the QoE query
    // repeats it, whole, in the sequence number.
    message.nlmsg_len = sizeof(message);
    message.nlmsg_type = static_cast<uint16_t>(command);
    message.nlmsg_flags = static_cast<uint16_t>(argument);
    message.nlmsg_seq = command == kMonitorGetQestaInfo ? static_cast<uint32_t>(argument) : 0;
    message.nlmsg_pid = static_cast<uint32_t>(getpid());

    if (setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &kSendTimeout, sizeof(kSendTimeout)) != 0) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "socket option  SO_RCVTIMEO not support\n");
        return -1;
    }
    ssize_t sent = sendto(fd, &message, sizeof(message), 0, reinterpret_cast<const sockaddr*>(&peer), sizeof(peer));
    if (sent == -1) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "send %d to kernel fail!!!", command);
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
