#include "KorunFailures.h"

#include "StallLog.h"

#include <cstring>

namespace mqqoe::korun {

void logOpenFailure(const nl::ChannelFailure& failure) {
    if (failure.error == nl::ChannelError::kSocket) {
        KLOGE("Unable to create netlink socket: %s", strerror(failure.savedErrno));
    } else {
        KLOGE("Unable to bind netlink socket: %s", strerror(failure.savedErrno));
    }
}

void logLookupFailure(const nl::ChannelFailure& failure) {
    switch (failure.error) {
        case nl::ChannelError::kSend:
            KLOGE("There are some error when send netlink message to kernel: %s", strerror(failure.savedErrno));
            [[fallthrough]];
        case nl::ChannelError::kTooLong:
            KLOGE("Get the family fail:%s", strerror(failure.savedErrno));
            break;
        case nl::ChannelError::kReceive:
            KLOGE("recv family ID fail");
            break;
        case nl::ChannelError::kMalformed:
            KLOGE("netlink header is invalid when get family ID(type:%d):%s", failure.messageType,
                  strerror(failure.savedErrno));
            break;
        default:
            KLOGE("netlink invalid family ID");
            break;
    }
}

void logWaitFailure(const nl::ChannelFailure& failure, const char* recvFailure) {
    switch (failure.error) {
        case nl::ChannelError::kPoll:
            KLOGE("poll failed, ret:%d, errno:%s", -1, strerror(failure.savedErrno));
            break;
        case nl::ChannelError::kTimeout:
            KLOGE("poll timeout");
            break;
        case nl::ChannelError::kReceive:
            KLOGE("%s", recvFailure);
            break;
        case nl::ChannelError::kMalformed:
            KLOGE("netlink header is invalid when recv the ack");
            break;
        case nl::ChannelError::kNotAnAck:
            KLOGE("receive the invalid message type=%d when recv the ack", failure.messageType);
            break;
        case nl::ChannelError::kNack:
            KLOGE("received the nack=%d", failure.nack);
            break;
        default:
            break;
    }
}

}  // namespace mqqoe::korun
