#include "MonitorCommand.h"

#include <errno.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstring>

#include "BridgeLog.h"
#include "KernelChannel.h"
#include "Netlink.h"
#include "UniqueFd.h"
#include "securec.h"

namespace mqqoe {
namespace {

constexpr timeval kReceiveTimeout = {1, 0};

// Waits up to a second for the monitor's reply to a query.
std::optional<QoeReply> receiveReply(int fd) {
    if (setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &kReceiveTimeout, sizeof(kReceiveTimeout)) != 0) {
        QLOGI("socket option  SO_RCVTIMEO not support\n");
        return std::nullopt;
    }
    uint8_t buffer[kMonitorReplySize] = {};
    ssize_t received;
    do {
        received = recv(fd, buffer, sizeof(buffer), 0);
    } while (received < 0 && errno == EINTR);
    if (received < 1) {
        uint16_t type;
        std::memcpy(&type, buffer + offsetof(nlmsghdr, nlmsg_type), sizeof(type));
        QLOGD("Received invalid message info.hdr.nlmsg_type =  %d\n", type);
        return std::nullopt;
    }
    // The reply's length and type are not examined.
    return replyWords(buffer, sizeof(buffer));
}

std::optional<QoeReply> query(int fd, int sendResult) {
    if (sendResult == -1) return std::nullopt;
    return receiveReply(fd);
}

}  // namespace

QoeReply replyWords(const uint8_t* buffer, size_t size) {
    QoeReply reply{};
    for (size_t word = 0; word < kMonitorReplyWords; ++word) {
        const size_t offset = nl::kHeaderSize + word * sizeof(int32_t);
        int32_t value = 0;
        if (offset + sizeof(value) <= size) (void)memcpy_s(&value, sizeof(value), buffer + offset, sizeof(value));
        // W0 goes last, W1..W9 first.
        reply[(word + kMonitorReplyWords - 1) % kMonitorReplyWords] = value;
    }
    return reply;
}

std::optional<QoeReply> sendQoeCommand(int command, int argument) {
    nl::UniqueFd fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, kMonitorProtocol));
    if (!fd.valid()) {
        QLOGE("%s. open monitor_fd error", "sendQoeCmd");
        return std::nullopt;
    }
    // The commands without a reply ignore the send's result.
    switch (command) {
        case kCmdStartMonitor:
            QLOGI("######### CMD_START_MONITOR ########\n");
            (void)start_monitor(fd.get());
            return std::nullopt;
        case kCmdStopMonitor:
            QLOGI("######### CMD_STOP_MONITOR ########\n");
            (void)pause_monitor(fd.get());
            return std::nullopt;
        case kCmdNotifyMcc:
            (void)notify_mcc(fd.get(), argument);
            return std::nullopt;
        case kCmdResetRtt:
            (void)reset_rtt(fd.get(), argument);
            return std::nullopt;
        case kCmdQueryTcp:
            return query(fd.get(), process_query_tcp(fd.get()));
        case kCmdGetRtt:
            return query(fd.get(), get_rtt(fd.get(), argument));
        case kCmdGetQestaInfo:
            return query(fd.get(), get_qesta_info(fd.get(), argument));
        default:
            return std::nullopt;
    }
}

}  // namespace mqqoe
