#include "QoeKernel.h"

#include <linux/netlink.h>

#include <cstring>
#include <mutex>

namespace kemu {
namespace {

constexpr size_t kReplySize = QOE_MONITOR_REPLY_LEN;
constexpr uint16_t kQueryCommands[] = {QOE_MONITOR_QUERY_TCP, QOE_MONITOR_GET_RTT, QOE_MONITOR_GET_QESTA_INFO};

std::mutex gLock;
bool gAnswer = true;
uint32_t gWords[QOE_MONITOR_REPLY_WORDS] = {};

}  // namespace

void setMonitorReply(bool answer, const uint32_t (&words)[QOE_MONITOR_REPLY_WORDS]) {
    std::lock_guard<std::mutex> guard(gLock);
    gAnswer = answer;
    std::memcpy(gWords, words, sizeof(gWords));
}

void resetQoeKernel() {
    std::lock_guard<std::mutex> guard(gLock);
    gAnswer = true;
    std::memset(gWords, 0, sizeof(gWords));
}

void monitorKernel(Channel& channel, const Bytes& message) {
    if (message.size() < sizeof(nlmsghdr)) return;
    nlmsghdr request;
    std::memcpy(&request, message.data(), sizeof(request));
    bool query = false;
    for (uint16_t command : kQueryCommands) query = query || request.nlmsg_type == command;
    Bytes reply(kReplySize, 0);
    {
        std::lock_guard<std::mutex> guard(gLock);
        if (!query || !gAnswer) return;
        std::memcpy(reply.data() + sizeof(nlmsghdr), gWords, sizeof(gWords));
    }
    nlmsghdr header{};
    header.nlmsg_len = kReplySize;
    header.nlmsg_type = request.nlmsg_type;
    std::memcpy(reply.data(), &header, sizeof(header));
    channel.deliver(reply);
}

}  // namespace kemu
