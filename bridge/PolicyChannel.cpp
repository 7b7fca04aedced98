#include "PolicyChannel.h"

#include "BridgeLog.h"
#include "KernelChannel.h"
#include "NetdClient.h"
#include "PolicyRecords.h"

namespace mqqoe {

PolicyChannel::Open PolicyChannel::open() {
    if (mSocket.valid()) return Open::kReady;
    mSocket.reset(ntl_link_init());
    if (!mSocket.valid()) return Open::kInitFailed;
    if (send_msg_to_kernel(kPolicyRegister, 0, nullptr, 0, mSocket.get()) < 0) {
        mSocket.reset();
        return Open::kRegisterFailed;
    }
    return Open::kOpened;
}

int PolicyChannel::openForSockets(const char* initFailed, const char* registerFailed) {
    switch (open()) {
        case Open::kInitFailed:
            QLOGE("%s", initFailed);
            return kPolicyInitFailed;
        case Open::kRegisterFailed:
            QLOGE("%s", registerFailed);
            return kPolicyRegisterFailed;
        default:
            return kPolicyOk;
    }
}

bool PolicyChannel::send(uint16_t type, const void* data, size_t length) {
    if (send_msg_to_kernel(type, 0, static_cast<const char*>(data), static_cast<int>(length), mSocket.get()) >= 0) {
        return true;
    }
    mSocket.reset();
    return false;
}

int PolicyChannel::setDpiMarkRule(int first, int second, int enable) {
    std::lock_guard<std::mutex> lock(mLock);
    switch (open()) {
        case Open::kInitFailed:
            QLOGE("Failed to initialize netlink socket\n");
            return -1;
        case Open::kRegisterFailed:
            QLOGI("Netlink socket created OK\n");
            QLOGE("Failed to register to kernel\n");
            return -1;
        case Open::kOpened:
            QLOGI("Netlink socket created OK\n");
            QLOGI("Netlink registered OK\n");
            break;
        case Open::kReady:
            break;
    }
    if (!send(enable == 0 ? kPolicyDpiDisable : kPolicyDpiEnable, nullptr, 0)) {
        QLOGE("Failed to send msg to kernel\n");
        return -1;
    }
    if (enable == 0) {
        QLOGI("Disable DPI\n");
        return 0;
    }
    DpiRuleRecord rule;
    rule.first = static_cast<uint32_t>(first);
    rule.second = static_cast<uint8_t>(second & 0xFF);
    if (!send(kPolicyDpiRule, rule)) {
        QLOGE("Failed to add qinglongzhan rule\n");
        return -1;
    }
    QLOGI("Set DPI Mark rule OK!\n");
    return 0;
}

int PolicyChannel::resetProcessSockets(int uid) {
    std::lock_guard<std::mutex> lock(mLock);
    const int opened = openForSockets("mplk resetSK init ntl FAIL\n", "mplk resetSK reg FAIL\n");
    if (opened != kPolicyOk) return opened;
    ResetRecord record;
    record.uid = uid;
    if (!send(kPolicyResetSockets, record)) {
        QLOGE("mplk resetSK FAIL of %d\n", uid);
        return kPolicyResetFailed;
    }
    QLOGI("mplk resetSK OK of %d\n", uid);
    return kPolicyOk;
}

int PolicyChannel::closeProcessSockets(int first, int second) {
    std::lock_guard<std::mutex> lock(mLock);
    const int opened = openForSockets("mplk closeSK init ntl FAIL\n", "mplk closeSK reg FAIL\n");
    if (opened != kPolicyOk) return opened;
    CloseRecord record;
    record.first = first;
    record.second = second;
    if (!send(kPolicyCloseSockets, record)) {
        QLOGE("mplk closeSK FAIL of %d\n", second);
        return kPolicyCloseFailed;
    }
    QLOGI("mplk closeSK OK of %d\n", second);
    return kPolicyOk;
}

int PolicyChannel::bindUidProcessToNetwork(int netId, int uid) {
    // DNS first: when the resolver cannot follow, the kernel is left alone.
    int cause = setUidNetworkForProcess(static_cast<unsigned>(netId), static_cast<unsigned>(uid));
    if (cause != 0) {
        QLOGE("mplk bindNW for DNS %d to %d FAIL for cause %d\n", uid, netId, cause);
        return cause;
    }
    std::lock_guard<std::mutex> lock(mLock);
    const int opened = openForSockets("mplk bindNW init ntl FAIL\n", "mplk bindNW reg FAIL\n");
    if (opened != kPolicyOk) return opened;
    BindRecord record;
    record.uid = uid;
    record.netId = netId;
    if (netId != 0) {
        if (!send(kPolicyBind, record)) {
            QLOGE("mplk bindNW FAIL of %d\n", uid);
            return kPolicyBindFailed;
        }
    } else if (!send(kPolicyUnbind, record)) {
        QLOGE("mplk unbindNW FAIL of %d\n", uid);
        return kPolicyUnbindFailed;
    }
    QLOGI("mplk bindNW %d to %d OK\n", uid, netId);
    return kPolicyOk;
}

}  // namespace mqqoe
