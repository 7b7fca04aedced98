#include "NetlinkHandler.h"

#include "AppScene.h"
#include "CatonFactory.h"
#include "KorunFailures.h"
#include "KorunReports.h"
#include "MessageBuilder.h"
#include "Netlink.h"
#include "SearchKeys.h"
#include "StallLog.h"
#include "securec.h"

#include <errno.h>
#include <pthread.h>

#include <cstring>

namespace mqqoe {

namespace {

constexpr uint32_t kPortMask = 0x0FFFFFFF;
constexpr int kKeepAliveEvery = 5;
// The ack/report wait is interval x 3,000,000 ms in 32-bit arithmetic: it
// wraps (negative for a 1000 ms interval, i.e. no limit), which is relied on.
constexpr uint32_t kPollTimeoutFactor = 3000000;
constexpr char kAckRecvFailure[] = "recv the ack fail";
// The report path keeps the lookup's wording for a failed receive.
constexpr char kReportRecvFailure[] = "recv family ID fail";

nl_attr_data u32Attr(uint16_t type, uint32_t value) {
    nl_attr_data attr{};
    attr.type = type;
    attr.length = sizeof(value);
    std::memcpy(attr.data, &value, sizeof(value));
    return attr;
}

}  // namespace

NetlinkHandler::NetlinkHandler() = default;

NetlinkHandler::~NetlinkHandler() = default;

int NetlinkHandler::setupSocket() {
    if (!mChannel.open(static_cast<uint32_t>(pthread_self()) & kPortMask)) {
        korun::logOpenFailure(mChannel.failure());
        return -1;
    }
    KLOGD("Bind to the port:%d", mChannel.port());
    return 0;
}

int NetlinkHandler::getFamilyID() { return getFamilyID(korun::kFamilyName); }

int NetlinkHandler::getFamilyID(const char* familyName) {
    KLOGD("getFamilyID() enter");
    uint16_t id = 0;
    if (!mChannel.resolveFamily(familyName, &id)) {
        korun::logLookupFailure(mChannel.failure());
        return -1;
    }
    mFamilyId = id;
    KLOGD("netlink family ID = %d", mFamilyId);
    return 0;
}

int NetlinkHandler::sendCommand(unsigned short type, unsigned char cmd, const nl_attr_data* attrs, int attrsNum,
                                unsigned short flags) {
    if (attrsNum < 0 || attrsNum > korun::kMaxAttrs || (attrsNum > 0 && attrs == nullptr)) {
        KLOGE("Invalid attrs_num:%d", attrsNum);
        mSendErrno = EINVAL;
        return -1;
    }
    uint8_t buffer[korun::kSendBufferSize];
    memset_s(buffer, sizeof(buffer), 0, sizeof(buffer));
    nl::MessageBuilder builder(buffer, sizeof(buffer));
    mSendErrno = EMSGSIZE;
    if (!builder.putHeader(type, flags, 0, mChannel.port()) || !builder.putGenlHeader(cmd, korun::kGenlVersion)) {
        return -1;
    }
    for (int i = 0; i < attrsNum; ++i) {
        if (attrs[i].length > korun::kAttrPayloadMax ||
            !builder.putAttr(attrs[i].type, attrs[i].data, attrs[i].length)) {
            KLOGE("The attribute %d(type:%d, length:%d) does not fit in the message", i, attrs[i].type,
                  attrs[i].length);
            return -1;
        }
    }
    if (!mChannel.send(buffer, builder.length())) {
        mSendErrno = mChannel.failure().savedErrno;
        KLOGE("There are some error when send netlink message to kernel: %s", strerror(mSendErrno));
        return -1;
    }
    return 0;
}

const char* NetlinkHandler::sendError() const { return strerror(mSendErrno); }

int32_t NetlinkHandler::pollTimeoutMs() const {
    return static_cast<int32_t>(static_cast<uint32_t>(mInterval) * kPollTimeoutFactor);
}

int NetlinkHandler::checkAck() {
    if (mChannel.awaitAck(pollTimeoutMs())) return 0;
    korun::logWaitFailure(mChannel.failure(), kAckRecvFailure);
    return -1;
}

int NetlinkHandler::sendUidCommand(uint8_t cmd, unsigned short flags, const nl_attr_data* more, int moreNum) {
    nl_attr_data attrs[korun::kMaxAttrs] = {
        u32Attr(KORUN_ATTR_UID, static_cast<uint32_t>(mUid)),
        u32Attr(KORUN_ATTR_DETECT_CLASS, static_cast<uint32_t>(translateDetectionType())),
    };
    constexpr int kUidAttrs = 2;
    if (moreNum < 0 || moreNum > korun::kMaxAttrs - kUidAttrs) return -1;
    for (int i = 0; i < moreNum; ++i) attrs[kUidAttrs + i] = more[i];
    return sendCommand(static_cast<unsigned short>(mFamilyId), cmd, attrs, kUidAttrs + moreNum, flags);
}

int NetlinkHandler::tryKeepAlive() {
    if (mKeepAliveCount++ < kKeepAliveEvery - 1) return 0;
    if (sendUidCommand(KORUN_CMD_KEEPALIVE, nl::kFlagsRequest) != 0) {
        KLOGE("send the KEEPALIVE command failed: %s", sendError());
        return -1;
    }
    mKeepAliveCount = 0;
    return 0;
}

int NetlinkHandler::start() {
    KLOGD("NetlinkHnadler::start() entry");
    if (mChannel.isOpen()) {
        KLOGE("You already called the start(), just ignore this call");
        return -1;
    }
    if (setupSocket() != 0) {
        KLOGE("Unable to setup Netlink %s", strerror(mChannel.failure().savedErrno));
        return -1;
    }
    if (getFamilyID() != 0) {
        KLOGE("Unable to setup Netlink %s", strerror(mChannel.failure().savedErrno));
        mChannel.close();
        return -1;
    }
    KLOGD("NetlinkHnadler::start() exit");
    return 0;
}

int NetlinkHandler::stop() {
    KLOGD("NetlinkHnadler::stop() entry");
    if (mCollecting == 1) {
        KLOGE("You should call the stopCollecting function firstly");
        return -1;
    }
    mChannel.close();
    mFamilyId = -1;
    mUid = -1;
    mPauseDetect = 0;
    KLOGD("NetlinkHnadler::stop() exit");
    return 0;
}

int NetlinkHandler::setDetectionType(int type) {
    mDetectionType = type;
    return createCatoner();
}

int NetlinkHandler::createCatoner() {
    mCatoner = makeCatoner(mDetectionType);
    int ret = mCatoner ? 0 : -1;
    KLOGD("create the detection type: %d", mDetectionType);
    return ret;
}

int NetlinkHandler::setDetectionAlgo(int type) {
    if (!mCatoner) return 0;
    mAlgoType = type;
    return mCatoner->setDetectionAlgoType(type);
}

int NetlinkHandler::setAlgoSwitchThreshold(int value) {
    if (mCatoner) mCatoner->setSwitchThreshold(value);
    return 0;
}

int NetlinkHandler::setAlgoThreshold(float value) {
    if (mCatoner) mCatoner->setAlgoThreshold(value);
    return 0;
}

int NetlinkHandler::setAwemeCatonPara(int m1s, int mR1s, int m2s, int mR2s, int m3s, int mR3s, int m6s, int mR6s,
                                      int userType) {
    return setAwemeCatonPara(AwemeCatonPara{m1s, mR1s, m2s, mR2s, m3s, mR3s, m6s, mR6s, userType});
}

int NetlinkHandler::setAwemeCatonPara(const AwemeCatonPara& para) {
    if (mCatoner) mCatoner->setAwemeCatonPara(para);
    return 0;
}

int NetlinkHandler::translateDetectionType() const { return scene::detectionClass(mDetectionType); }

int NetlinkHandler::startCollecting() {
    if (mCollecting != 0) {
        KLOGE("You already called the startCollecting(), just ignore this call");
        return -1;
    }
    if (!mCatoner) {
        KLOGE("startCollecting: no detector for the detection type: %d", mDetectionType);
        return -1;
    }
    mInterval = mCatoner->interval();

    nl_attr_data more[2] = {u32Attr(KORUN_ATTR_INTERVAL, static_cast<uint32_t>(mInterval)), {}};
    int moreNum = 1;
    if (scene::isShortVideo(mDetectionType)) {
        KorunSearchKeys keys;
        if (!searchKeysForType(mDetectionType, &keys)) return -1;
        if (mDetectionType == scene::kShortVideoKey) KLOGD("key2=%s", keys.videoPath);
        more[1].type = KORUN_ATTR_SEARCH_KEYS;
        more[1].length = sizeof(keys);
        std::memcpy(more[1].data, &keys, sizeof(keys));
        moreNum = 2;
    } else if (!scene::isCall(mDetectionType)) {
        return -1;
    }

    if (sendUidCommand(KORUN_CMD_START, nl::kFlagsRequestAck, more, moreNum) != 0) {
        KLOGE("send the START command failed: %s", sendError());
        return -1;
    }
    if (checkAck() != 0) {
        KLOGE("check ack faild when start collecting for uid(%d)", mUid);
        return -1;
    }
    mKeepAliveCount = 0;
    mCollecting = 1;
    mTotalInBytes = 0;
    mTotalOutBytes = 0;
    KLOGD("NetlinkHnadler::startCollecting() exit");
    return 0;
}

int NetlinkHandler::stopCollecting() {
    KLOGD("NetlinkHnadler::stopCollecting() entry");
    if (mCollecting == 0) KLOGE("You already called the stopCollecting(), just ignore this call");
    // Best effort: each failure is logged and the detector goes regardless.
    if (sendUidCommand(KORUN_CMD_STOP, nl::kFlagsRequestAck) != 0) {
        KLOGE("send the STOP command failed: %s", sendError());
    }
    if (checkAck() != 0) KLOGE("check ack faild when stop collecting for uid(%d)", mUid);
    mCatoner.reset();
    mCollecting = 0;
    KLOGD("NetlinkHnadler::stopCollecting() exit");
    return 0;
}

int NetlinkHandler::updateAwemeStallInfo(AwemeReportPara* report) {
    if (mCollecting == 0) {
        KLOGE("You already called the stopCollecting(), just ignore this call");
        return -1;
    }
    const nl_attr_data more[] = {
        u32Attr(KORUN_ATTR_DETECT_INDEX, report->detect_index),
        u32Attr(KORUN_ATTR_DETECT_STATE, report->detect_state),
    };
    if (sendUidCommand(KORUN_CMD_UPDATE, nl::kFlagsRequestAck, more, 2) != 0) {
        KLOGE("send the STOP command failed: %s", sendError());
        return -1;
    }
    if (checkAck() != 0) {
        KLOGE("check ack faild when stop collecting for uid(%d)", mUid);
        return -1;
    }
    return 0;
}

int NetlinkHandler::getThroughputStats(unsigned long* out, unsigned long* in) const {
    if (out != nullptr) *out = mTotalOutBytes;
    if (in != nullptr) *in = mTotalInBytes;
    return 0;
}

int NetlinkHandler::getDetectionResult(int* outBytes, int* inBytes, int* result, bool& reported) {
    if (mCollecting == 0) {
        KLOGE("getDetectionResult: you should call startCollecting() firstly");
        return -1;
    }
    reported = false;
    if (scene::isCall(mDetectionType)) return getAndProcessWeChatReport(outBytes, inBytes, result);
    if (scene::isShortVideo(mDetectionType)) return getAndProcessDouYinReport(nullptr, nullptr, result, reported);
    return -1;
}

int NetlinkHandler::recvReport(genl_msg* buffer, nl::Message* message, uint8_t* command) {
    ssize_t received = mChannel.receive(buffer, sizeof(*buffer), pollTimeoutMs());
    if (received < 0) {
        korun::logWaitFailure(mChannel.failure(), kReportRecvFailure);
        return -1;
    }
    return checkReportHeader(*buffer, received, message, command);
}

int NetlinkHandler::checkReportHeader(const genl_msg& buffer, ssize_t received, nl::Message* message,
                                      uint8_t* command) const {
    return korun::readReportHeader(buffer, received, message, command) ? 0 : -1;
}

int NetlinkHandler::paserThroughputReport(const nl::Message& message, int* inPkts, int* outPkts, int* inBytes,
                                          int* outBytes) const {
    korun::ThroughputReport report;
    if (!korun::readThroughputReport(message, mUid, &report)) return -1;
    const uint32_t values[] = {report.inPkts, report.outPkts, report.inBytes, report.outBytes};
    int* const outputs[] = {inPkts, outPkts, inBytes, outBytes};
    for (size_t i = 0; i < 4; ++i) {
        if (outputs[i] != nullptr) *outputs[i] = static_cast<int>(values[i]);
    }
    return 0;
}

int NetlinkHandler::paserDouyinDetectionReport(const nl::Message& message, AwemeReportPara* record) const {
    return korun::readAwemeReport(message, mUid, record) ? 0 : -1;
}

int NetlinkHandler::getAndProcessWeChatReport(int* outBytes, int* inBytes, int* result) {
    genl_msg buffer;
    nl::Message message;
    uint8_t command = 0;
    if (recvReport(&buffer, &message, &command) < 0) return -1;
    if (command != KORUN_CMD_TP_REPORT) {
        KLOGE("NetlinkHnadler::getAndProcessWeChatReport(): recv a invalid command:%d", command);
        return -1;
    }
    int inPkts = 0;
    int reportIn = 0;
    int reportOut = 0;
    if (paserThroughputReport(message, &inPkts, nullptr, &reportIn, &reportOut) != 0) return -1;
    if (tryKeepAlive() != 0) return -1;

    // The kernel counts are unsigned 32-bit.
    mTotalInBytes += static_cast<uint32_t>(reportIn);
    mTotalOutBytes += static_cast<uint32_t>(reportOut);
    if (inBytes != nullptr) *inBytes = reportIn;
    if (outBytes != nullptr) *outBytes = reportOut;

    if (mPauseDetect != 0) {
        if (result != nullptr) *result = 0;
        return 0;
    }
    if (!mCatoner) return -1;
    return mCatoner->inputSample(inPkts, reportIn, result);
}

int NetlinkHandler::getAndProcessDouYinReport(int* outBytes, int* inBytes, int* result, bool& reported) {
    genl_msg buffer;
    nl::Message message;
    uint8_t command = 0;
    if (recvReport(&buffer, &message, &command) < 0) return -1;
    if (command != KORUN_CMD_AWEME_REPORT) {
        KLOGE("NetlinkHnadler::getAndProcessDouYinReport(): recv a invalid command:%d", command);
        return -1;
    }
    AwemeReportPara record;
    memset_s(&record, sizeof(record), 0, sizeof(record));
    if (paserDouyinDetectionReport(message, &record) != 0 || tryKeepAlive() != 0) return -1;
    if (outBytes != nullptr) *outBytes = 0;
    if (inBytes != nullptr) *inBytes = 0;
    if (!mCatoner) return -1;
    int ret = mCatoner->inputSample(&record, result, reported);
    if (ret < 0) {
        KLOGE("DouYin inputSample() failed");
        return -1;
    }
    if (record.update_flag != 0) return updateAwemeStallInfo(&record);
    return ret;
}

}  // namespace mqqoe
