// Monitor command and socket policy natives of the adapter class.

#include "QoeCommandNatives.h"

#include <android/log.h>
#include <errno.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstring>
#include <type_traits>

#include "KernelChannel.h"
#include "NetdClient.h"
#include "ScopedResources.h"
#include "ZvQoE_jni.h"

#define ALOGD(...) __android_log_print(ANDROID_LOG_DEBUG, mqqoe::kLogTag, __VA_ARGS__)
#define ALOGI(...) __android_log_print(ANDROID_LOG_INFO, mqqoe::kLogTag, __VA_ARGS__)
#define ALOGE(...) __android_log_print(ANDROID_LOG_ERROR, mqqoe::kLogTag, __VA_ARGS__)

namespace mqqoe {
namespace {

constexpr timeval kReceiveTimeout = {1, 0};
// Fixed by the kernel module's DPI rule format.
constexpr uint32_t kDpiRuleFlag = 1;
constexpr uint32_t kDpiRuleMark = 90;

using PolicyPayload = std::array<char, kPolicyPayloadSize>;

// Stores `value` at a fixed offset of a zero-filled record; the bound is
// checked when compiling.
template <size_t kOffset, typename T>
void put(PolicyPayload& payload, T value) {
    static_assert(kOffset + sizeof(T) <= kPolicyPayloadSize, "field outside the record");
    std::memcpy(payload.data() + kOffset, &value, sizeof(value));
}

PolicyPayload dpiRuleRecord(int first, int second) {
    PolicyPayload record{};
    put<0>(record, static_cast<uint32_t>(first));
    put<12>(record, kDpiRuleFlag);
    put<16>(record, static_cast<uint8_t>(second & 0xFF));
    put<20>(record, kDpiRuleMark);
    return record;
}

PolicyPayload resetRecord(int uid) {
    PolicyPayload record{};
    put<0>(record, static_cast<int32_t>(uid));
    return record;
}

PolicyPayload closeRecord(int first, int second) {
    PolicyPayload record{};
    put<0>(record, static_cast<int32_t>(second));
    put<8>(record, static_cast<int32_t>(first));
    return record;
}

PolicyPayload bindRecord(int netId, int uid) {
    PolicyPayload record{};
    put<0>(record, static_cast<int32_t>(uid));
    put<4>(record, static_cast<int32_t>(netId));
    return record;
}

enum class Channel { kReady, kOpened, kInitFailed, kRegisterFailed };

// Opens and registers the policy channel unless it is open already.
Channel ensurePolicyChannel() {
    if (gKernelSocket >= 0) return Channel::kReady;
    int fd = ntl_link_init();
    if (fd < 0) return Channel::kInitFailed;
    gKernelSocket = fd;
    if (send_msg_to_kernel(kPolicyRegister, 0, nullptr, 0, fd) < 0) {
        closePolicyChannel();
        return Channel::kRegisterFailed;
    }
    return Channel::kOpened;
}

// A failed send drops the channel; the next call opens a fresh one.
[[nodiscard]] bool sendPolicy(uint16_t type, const char* data, size_t length) {
    if (send_msg_to_kernel(type, 0, data, static_cast<int>(length), gKernelSocket) >= 0) return true;
    closePolicyChannel();
    return false;
}

[[nodiscard]] bool sendPolicy(uint16_t type, const PolicyPayload& payload) {
    return sendPolicy(type, payload.data(), payload.size());
}

// Waits up to a second for the monitor's reply to a query.
std::optional<QoeReply> receiveReply(int fd) {
    if (setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &kReceiveTimeout, sizeof(kReceiveTimeout)) != 0) {
        ALOGI("socket option  SO_RCVTIMEO not support\n");
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
        ALOGD("Received invalid message info.hdr.nlmsg_type =  %d\n", type);
        return std::nullopt;
    }
    QoeReply reply{};
    for (size_t word = 0; word < kMonitorReplyWords; ++word) {
        int32_t value;
        std::memcpy(&value, buffer + sizeof(nlmsghdr) + word * sizeof(value), sizeof(value));
        // W0 goes last, W1..W9 first.
        reply[(word + kMonitorReplyWords - 1) % kMonitorReplyWords] = value;
    }
    return reply;
}

std::optional<QoeReply> query(int fd, int sendResult) {
    if (sendResult == -1) return std::nullopt;
    return receiveReply(fd);
}

}  // namespace

void closePolicyChannel() {
    if (gKernelSocket >= 0) close(gKernelSocket);
    gKernelSocket = -1;
}

std::optional<QoeReply> sendQoeCmdImpl(int command, int argument) {
    ScopedFd fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, kMonitorProtocol));
    if (!fd.valid()) {
        ALOGE("%s. open monitor_fd error", "sendQoeCmd");
        return std::nullopt;
    }
    // The commands without a reply ignore the send's result.
    switch (command) {
        case kCmdStartMonitor:
            ALOGI("######### CMD_START_MONITOR ########\n");
            (void)start_monitor(fd.get());
            return std::nullopt;
        case kCmdStopMonitor:
            ALOGI("######### CMD_STOP_MONITOR ########\n");
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

int setDpiMarkRuleImpl(int first, int second, int enable) {
    switch (ensurePolicyChannel()) {
        case Channel::kInitFailed:
            ALOGE("Failed to initialize netlink socket\n");
            return -1;
        case Channel::kRegisterFailed:
            ALOGI("Netlink socket created OK\n");
            ALOGE("Failed to register to kernel\n");
            return -1;
        case Channel::kOpened:
            ALOGI("Netlink socket created OK\n");
            ALOGI("Netlink registered OK\n");
            break;
        case Channel::kReady:
            break;
    }
    if (!sendPolicy(enable == 0 ? kPolicyDpiDisable : kPolicyDpiEnable, nullptr, 0)) {
        ALOGE("Failed to send msg to kernel\n");
        return -1;
    }
    if (enable == 0) {
        ALOGI("Disable DPI\n");
        return 0;
    }
    if (!sendPolicy(kPolicyDpiRule, dpiRuleRecord(first, second))) {
        ALOGE("Failed to add qinglongzhan rule\n");
        return -1;
    }
    ALOGI("Set DPI Mark rule OK!\n");
    return 0;
}

int resetProcessSocketsImpl(int uid) {
    switch (ensurePolicyChannel()) {
        case Channel::kInitFailed:
            ALOGE("mplk resetSK init ntl FAIL\n");
            return kPolicyInitFailed;
        case Channel::kRegisterFailed:
            ALOGE("mplk resetSK reg FAIL\n");
            return kPolicyRegisterFailed;
        default:
            break;
    }
    if (!sendPolicy(kPolicyResetSockets, resetRecord(uid))) {
        ALOGE("mplk resetSK FAIL of %d\n", uid);
        return kPolicyResetFailed;
    }
    ALOGI("mplk resetSK OK of %d\n", uid);
    return kPolicyOk;
}

int closeProcessSocketsImpl(int first, int second) {
    switch (ensurePolicyChannel()) {
        case Channel::kInitFailed:
            ALOGE("mplk closeSK init ntl FAIL\n");
            return kPolicyInitFailed;
        case Channel::kRegisterFailed:
            ALOGE("mplk closeSK reg FAIL\n");
            return kPolicyRegisterFailed;
        default:
            break;
    }
    if (!sendPolicy(kPolicyCloseSockets, closeRecord(first, second))) {
        ALOGE("mplk closeSK FAIL of %d\n", second);
        return kPolicyCloseFailed;
    }
    ALOGI("mplk closeSK OK of %d\n", second);
    return kPolicyOk;
}

int bindUidProcessToNetworkImpl(int netId, int uid) {
    // DNS first: when the resolver cannot follow, the kernel is left alone.
    int cause = setUidNetworkForProcess(static_cast<unsigned>(netId), static_cast<unsigned>(uid));
    if (cause != 0) {
        ALOGE("mplk bindNW for DNS %d to %d FAIL for cause %d\n", uid, netId, cause);
        return cause;
    }
    switch (ensurePolicyChannel()) {
        case Channel::kInitFailed:
            ALOGE("mplk bindNW init ntl FAIL\n");
            return kPolicyInitFailed;
        case Channel::kRegisterFailed:
            ALOGE("mplk bindNW reg FAIL\n");
            return kPolicyRegisterFailed;
        default:
            break;
    }
    if (netId != 0) {
        if (!sendPolicy(kPolicyBind, bindRecord(netId, uid))) {
            ALOGE("mplk bindNW FAIL of %d\n", uid);
            return kPolicyBindFailed;
        }
    } else if (!sendPolicy(kPolicyUnbind, bindRecord(netId, uid))) {
        ALOGE("mplk unbindNW FAIL of %d\n", uid);
        return kPolicyUnbindFailed;
    }
    ALOGI("mplk bindNW %d to %d OK\n", uid, netId);
    return kPolicyOk;
}

int handleSocketStrategyImpl(int strategy, int uid) {
    ALOGI("handleSocketStrategy uid of %d , strategy of %d \n", uid, strategy);
    return 0;
}

}  // namespace mqqoe

// ---- JNI glue ----

static_assert(std::is_same_v<jint, int32_t>, "a reply word is a Java int");

jintArray sendQoeCmd(JNIEnv* env, jobject, jint command, jint argument) {
    std::optional<mqqoe::QoeReply> reply = mqqoe::sendQoeCmdImpl(command, argument);
    if (!reply) return nullptr;
    jintArray array = env->NewIntArray(static_cast<jsize>(reply->size()));
    if (array == nullptr) return nullptr;
    env->SetIntArrayRegion(array, 0, static_cast<jsize>(reply->size()), reply->data());
    return array;
}

jint setDpiMarkRule(JNIEnv*, jobject, jint first, jint second, jint enable) {
    return mqqoe::setDpiMarkRuleImpl(first, second, enable);
}

jint resetProcessSockets(JNIEnv*, jobject, jint uid) { return mqqoe::resetProcessSocketsImpl(uid); }

jint closeProcessSockets(JNIEnv*, jobject, jint first, jint second) {
    return mqqoe::closeProcessSocketsImpl(first, second);
}

jint bindUidProcessToNetwork(JNIEnv*, jobject, jint netId, jint uid) {
    return mqqoe::bindUidProcessToNetworkImpl(netId, uid);
}

jint handleSocketStrategy(JNIEnv*, jobject, jint strategy, jint uid) {
    return mqqoe::handleSocketStrategyImpl(strategy, uid);
}
