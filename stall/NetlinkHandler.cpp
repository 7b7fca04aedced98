#include "NetlinkHandler.h"

#include "AppScene.h"
#include "AudioCatonDetection.h"
#include "AwemeCatonDetection.h"
#include "MessageBuilder.h"
#include "Netlink.h"
#include "SearchKeys.h"
#include "StallLog.h"
#include "VideoCatonDetection.h"
#include "securec.h"

#include <errno.h>
#include <pthread.h>
#include <sys/socket.h>

#include <cstring>
#include <new>

namespace {

constexpr uint32_t kPortMask = 0x0FFFFFFF;
constexpr int kPollAttempts = 5;
constexpr int kKeepAliveEvery = 5;
// The ack/report wait is interval x 3,000,000 ms in 32-bit arithmetic: it
// wraps (negative for a 1000 ms interval, i.e. no limit), which is relied on.
constexpr uint32_t kPollTimeoutFactor = 3000000;

nl_attr_data u32Attr(uint16_t type, uint32_t value) {
    nl_attr_data attr{};
    attr.type = type;
    attr.length = sizeof(value);
    std::memcpy(attr.data, &value, sizeof(value));
    return attr;
}

// Logs a report attribute of another type where `wanted` belongs.
void logUnexpectedAttr(uint16_t wanted, uint16_t got) {
    switch (wanted) {
        case KORUN_ATTR_UID:
            KLOGE("We hope get the UID, but get the type: %d", got);
            break;
        case KORUN_ATTR_IN_PKTS:
            KLOGE("We hope get the inPkts, but get the type: %d", got);
            break;
        case KORUN_ATTR_OUT_PKTS:
            KLOGE("We hope get the outPkts, but get the type: %d", got);
            break;
        case KORUN_ATTR_IN_BYTES:
            KLOGE("We hope get the inbytes, but get the type: %d", got);
            break;
        case KORUN_ATTR_OUT_BYTES:
            KLOGE("We hope get the outbytes, but get the type: %d", got);
            break;
        case KORUN_ATTR_DETECT_INDEX:
            KLOGE("We hope get the cur_detect_index, but get the type: %d", got);
            break;
        case KORUN_ATTR_CUR_INDEX:
            KLOGE("We hope get the cur_index, but get the type: %d", got);
            break;
        case KORUN_ATTR_VALID_NUM:
        case KORUN_ATTR_DETECT_STATE:  // the state word shares the valid_num wording
            KLOGE("We hope get the valid_num, but get the type: %d", got);
            break;
        default:
            KLOGE("We hope get the stall info, but get the type: %d", got);
            break;
    }
}

// A report's attributes come in a fixed order: the next one must be of
// `type`, and anything else (another type, or none) rejects the report.
bool expectAttr(nl::AttrWalker& walker, uint16_t type, nl::Attr* attr) {
    if (!walker.next(attr)) {
        KLOGE("The report ends before the attribute type %d", type);
        return false;
    }
    if (attr->type() != type) {
        logUnexpectedAttr(type, attr->type());
        return false;
    }
    return true;
}

// The next attribute, of `type` and exactly `size` payload bytes, into `out`.
bool expectFixed(nl::AttrWalker& walker, uint16_t type, void* out, size_t size) {
    nl::Attr attr;
    if (!expectAttr(walker, type, &attr)) return false;
    if (!attr.getFixed(out, size)) {
        KLOGE("The attribute type %d carries %zu bytes instead of %zu", type, attr.payloadLength(), size);
        return false;
    }
    return true;
}

bool expectU32(nl::AttrWalker& walker, uint16_t type, uint32_t* value) {
    return expectFixed(walker, type, value, sizeof(*value));
}

// The first attribute of every report: the uid it belongs to.
bool expectOwnUid(nl::AttrWalker& walker, int32_t uid) {
    uint32_t reportUid;
    if (!expectU32(walker, KORUN_ATTR_UID, &reportUid)) return false;
    if (static_cast<int32_t>(reportUid) != uid) {
        KLOGE("We get the other owner's report: %d, our uid is %d", static_cast<int32_t>(reportUid), uid);
        return false;
    }
    return true;
}

}  // namespace

NetlinkHandler::NetlinkHandler() = default;

NetlinkHandler::~NetlinkHandler() = default;

// ---- socket, family lookup, messages ----

int NetlinkHandler::setupSocket() {
    mPortId = static_cast<uint32_t>(pthread_self()) & kPortMask;
    mSock.reset(socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_GENERIC));
    if (mSock.get() < 0) {
        KLOGE("Unable to create netlink socket: %s", strerror(errno));
        mSock.reset();
        return -1;
    }
    sockaddr_nl local{};
    local.nl_family = AF_NETLINK;
    local.nl_pid = mPortId;
    local.nl_groups = 0;
    if (bind(mSock.get(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) < 0) {
        KLOGE("Unable to bind netlink socket: %s", strerror(errno));
        mSock.reset();
        return -1;
    }
    KLOGD("Bind to the port:%d", mPortId);
    return 0;
}

int NetlinkHandler::getFamilyID() { return getFamilyID(korun::kFamilyName); }

int NetlinkHandler::getFamilyID(const char* familyName) {
    KLOGD("getFamilyID() enter");
    nl_attr_data name{};
    size_t nameLen = std::strlen(familyName) + 1;  // with its NUL
    if (nameLen > sizeof(name.data)) {
        KLOGE("Get the family fail:%s", strerror(ENAMETOOLONG));
        return -1;
    }
    name.type = nl::kCtrlAttrFamilyName;
    name.length = static_cast<uint16_t>(nameLen);
    std::memcpy(name.data, familyName, nameLen);
    if (sendCommand(nl::kCtrlType, nl::kCtrlCmdGetFamily, &name, 1, nl::kFlagsRequest) != 0) {
        KLOGE("Get the family fail:%s", strerror(errno));
        return -1;
    }

    genl_msg reply;
    memset_s(&reply, sizeof(reply), 0, sizeof(reply));
    ssize_t received = recv(mSock.get(), &reply, sizeof(reply), 0);
    if (received < 0) {
        KLOGE("recv family ID fail");
        return -1;
    }
    return parseFamilyReply(reply, received);
}

int NetlinkHandler::parseFamilyReply(const genl_msg& reply, ssize_t received) {
    nl::Message message;
    if (!nl::Message::parse(&reply, static_cast<size_t>(received), &message) || message.type() == nl::kTypeError) {
        KLOGE("netlink header is invalid when get family ID(type:%d):%s", reply.n.nlmsg_type, strerror(errno));
        return -1;
    }
    // The controller answers with the family name first, then its id; the
    // first attribute is passed over whatever it is.
    nl::AttrWalker walker = message.genlAttrs();
    nl::Attr first;
    nl::Attr second;
    uint16_t id = 0;
    if (!walker.next(&first) || !walker.next(&second) || second.type() != nl::kCtrlAttrFamilyId ||
        !second.getU16(&id)) {
        KLOGE("netlink invalid family ID");
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
        return -1;
    }
    uint8_t buffer[korun::kSendBufferSize];
    memset_s(buffer, sizeof(buffer), 0, sizeof(buffer));
    nl::MessageBuilder builder(buffer, sizeof(buffer));
    if (!builder.putHeader(type, flags, 0, mPortId) || !builder.putGenlHeader(cmd, korun::kGenlVersion)) return -1;
    for (int i = 0; i < attrsNum; ++i) {
        if (attrs[i].length > korun::kAttrPayloadMax ||
            !builder.putAttr(attrs[i].type, attrs[i].data, attrs[i].length)) {
            KLOGE("The attribute %d(type:%d, length:%d) does not fit in the message", i, attrs[i].type,
                  attrs[i].length);
            return -1;
        }
    }

    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    size_t length = builder.length();
    size_t sent = 0;
    while (sent < length) {
        ssize_t n = sendto(mSock.get(), buffer + sent, length - sent, 0, reinterpret_cast<const sockaddr*>(&kernel),
                           sizeof(kernel));
        if (n < 1) {
            if (errno == EAGAIN) continue;
            KLOGE("There are some error when send netlink message to kernel: %s", strerror(errno));
            return -1;
        }
        sent += static_cast<size_t>(n);
    }
    return 0;
}

int NetlinkHandler::pollSock(pollfd* fds, unsigned int count, int timeout) {
    int ret = 0;
    for (int call = 0; call < kPollAttempts; ++call) {
        ret = poll(fds, count, timeout);
        if (ret != -1 || errno != EINTR) break;
    }
    return ret;
}

int32_t NetlinkHandler::pollTimeoutMs() const {
    return static_cast<int32_t>(static_cast<uint32_t>(mInterval) * kPollTimeoutFactor);
}

int NetlinkHandler::checkAck() {
    genl_msg ack;
    ssize_t received = waitAndReceive(&ack, "recv the ack fail");
    if (received < 0) return -1;
    return parseAck(ack, received);
}

int NetlinkHandler::parseAck(const genl_msg& ack, ssize_t received) const {
    nl::Message message;
    int32_t error = 0;
    // An acknowledgement too short for its error code is no acknowledgement.
    if (!nl::Message::parse(&ack, static_cast<size_t>(received), &message) ||
        (message.type() == nl::kTypeError && !message.errorCode(&error))) {
        KLOGE("netlink header is invalid when recv the ack");
        return -1;
    }
    if (message.type() != nl::kTypeError) {
        KLOGE("receive the invalid message type=%d when recv the ack", message.type());
        return -1;
    }
    if (error != 0) {
        KLOGE("received the nack=%d", error);
        return -1;
    }
    return 0;
}

int NetlinkHandler::sendUidCommand(uint8_t cmd, unsigned short flags) {
    const nl_attr_data attrs[] = {
        u32Attr(KORUN_ATTR_UID, static_cast<uint32_t>(mUid)),
        u32Attr(KORUN_ATTR_DETECT_CLASS, static_cast<uint32_t>(translateDetectionType())),
    };
    return sendCommand(static_cast<unsigned short>(mFamilyId), cmd, attrs, 2, flags);
}

int NetlinkHandler::tryKeepAlive() {
    if (mKeepAliveCount++ < kKeepAliveEvery - 1) return 0;
    if (sendUidCommand(KORUN_CMD_KEEPALIVE, nl::kFlagsRequest) != 0) {
        KLOGE("send the KEEPALIVE command failed: %s", strerror(errno));
        return -1;
    }
    mKeepAliveCount = 0;
    return 0;
}

// ---- lifecycle ----

int NetlinkHandler::start() {
    KLOGD("NetlinkHnadler::start() entry");
    if (mSock.get() != -1) {
        KLOGE("You already called the start(), just ignore this call");
        return -1;
    }
    if (setupSocket() != 0) {
        KLOGE("Unable to setup Netlink %s", strerror(errno));
        return -1;
    }
    if (getFamilyID() != 0) {
        KLOGE("Unable to setup Netlink %s", strerror(errno));
        mSock.reset();
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
    mSock.reset();
    mFamilyId = -1;
    mPortId = 0;
    mUid = -1;
    mPauseDetect = 0;
    KLOGD("NetlinkHnadler::stop() exit");
    return 0;
}

// ---- detection type and settings ----

int NetlinkHandler::setDetectionType(int type) {
    mDetectionType = type;
    return createCatoner();
}

int NetlinkHandler::createCatoner() {
    mCatoner.reset();
    int ret = 0;
    switch (mDetectionType) {
        case scene::kVoiceCall:
            mCatoner.reset(new (std::nothrow) AudioCatonDetection());
            break;
        case scene::kVideoCall:
            mCatoner.reset(new (std::nothrow) VideoCatonDetection());
            break;
        case scene::kShortVideo:
        case scene::kShortVideoPicture:
        case scene::kShortVideoKey:
            mCatoner.reset(new (std::nothrow) AwemeCatonDetection());
            break;
        default:
            KLOGE("Invalid detection type(%d) when create catoner", mDetectionType);
            ret = -1;
            break;
    }
    if (ret == 0 && !mCatoner) {
        KLOGE("There are no enough memory for the detection type: %d", mDetectionType);
        ret = -1;
    }
    KLOGD("create the detection type: %d", mDetectionType);
    return ret;
}

int NetlinkHandler::setDetectionAlgo(int type) {
    if (!mCatoner) return 0;
    mAlgoType = type;
    return mCatoner->setDetectionAlgoType(type);
}

int NetlinkHandler::setAlgoSwitchThreshold(int value) {
    if (mCatoner) mCatoner->mSwitchThreshold = value;
    return 0;
}

int NetlinkHandler::setAlgoThreshold(float value) {
    if (mCatoner) mCatoner->mAlgoThreshold = value;
    return 0;
}

int NetlinkHandler::setAwemeCatonPara(int m1s, int mR1s, int m2s, int mR2s, int m3s, int mR3s, int m6s, int mR6s,
                                      int userType) {
    if (mCatoner) mCatoner->setAwemeCatonPara(m1s, mR1s, m2s, mR2s, m3s, mR3s, m6s, mR6s, userType);
    return 0;
}

int NetlinkHandler::translateDetectionType() const {
    switch (mDetectionType) {
        case scene::kVoiceCall:
        case scene::kVideoCall:
            return korun::kClassCall;
        case scene::kShortVideo:
        case scene::kShortVideoKey:
            return korun::kClassShortVideo;
        case scene::kShortVideoPicture:
            return korun::kClassShortVideoPicture;
        default:
            return -1;
    }
}

// ---- collection ----

int NetlinkHandler::startCollecting() {
    if (mCollecting != 0) {
        KLOGE("You already called the startCollecting(), just ignore this call");
        return -1;
    }
    if (!mCatoner) {
        KLOGE("startCollecting: no detector for the detection type: %d", mDetectionType);
        return -1;
    }
    mInterval = mCatoner->mInterval;

    nl_attr_data attrs[4] = {
        u32Attr(KORUN_ATTR_UID, static_cast<uint32_t>(mUid)),
        u32Attr(KORUN_ATTR_DETECT_CLASS, static_cast<uint32_t>(translateDetectionType())),
        u32Attr(KORUN_ATTR_INTERVAL, static_cast<uint32_t>(mInterval)),
        {},
    };
    int attrsNum = 3;
    switch (mDetectionType) {
        case scene::kVoiceCall:
        case scene::kVideoCall:
            break;
        case scene::kShortVideo:
        case scene::kShortVideoPicture:
        case scene::kShortVideoKey: {
            KorunSearchKeys keys;
            if (!searchKeysForType(mDetectionType, &keys)) return -1;
            if (mDetectionType == scene::kShortVideoKey) KLOGD("key2=%s", keys.videoPath);
            attrs[3].type = KORUN_ATTR_SEARCH_KEYS;
            attrs[3].length = sizeof(keys);
            std::memcpy(attrs[3].data, &keys, sizeof(keys));
            attrsNum = 4;
            break;
        }
        default:
            return -1;
    }

    if (sendCommand(static_cast<unsigned short>(mFamilyId), KORUN_CMD_START, attrs, attrsNum,
                    nl::kFlagsRequestAck) != 0) {
        KLOGE("send the START command failed: %s", strerror(errno));
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
        KLOGE("send the STOP command failed: %s", strerror(errno));
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
    const nl_attr_data attrs[] = {
        u32Attr(KORUN_ATTR_UID, static_cast<uint32_t>(mUid)),
        u32Attr(KORUN_ATTR_DETECT_CLASS, static_cast<uint32_t>(translateDetectionType())),
        u32Attr(KORUN_ATTR_DETECT_INDEX, report->detect_index),
        u32Attr(KORUN_ATTR_DETECT_STATE, report->detect_state),
    };
    if (sendCommand(static_cast<unsigned short>(mFamilyId), KORUN_CMD_UPDATE, attrs, 4, nl::kFlagsRequestAck) !=
        0) {
        KLOGE("send the STOP command failed: %s", strerror(errno));
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
    switch (mDetectionType) {
        case scene::kVoiceCall:
        case scene::kVideoCall:
            return getAndProcessWeChatReport(outBytes, inBytes, result);
        case scene::kShortVideo:
        case scene::kShortVideoPicture:
        case scene::kShortVideoKey:
            return getAndProcessDouYinReport(nullptr, nullptr, result, reported);
        default:
            return -1;
    }
}

// ---- reports ----

ssize_t NetlinkHandler::waitAndReceive(genl_msg* message, const char* recvFailure) {
    pollfd fds{mSock.get(), POLLIN, 0};
    int ret = pollSock(&fds, 1, pollTimeoutMs());
    if (ret == -1) {
        KLOGE("poll failed, ret:%d, errno:%s", ret, strerror(errno));
        return -1;
    }
    if (ret == 0) {
        KLOGE("poll timeout");
        return -1;
    }
    memset_s(message, sizeof(*message), 0, sizeof(*message));
    ssize_t received = recv(mSock.get(), message, sizeof(*message), MSG_DONTWAIT);
    if (received < 0) {
        KLOGE("%s", recvFailure);
        return -1;
    }
    return received;
}

int NetlinkHandler::recvReport(genl_msg* buffer, nl::Message* message, uint8_t* command) {
    // The report path keeps the lookup's wording for a failed receive.
    ssize_t received = waitAndReceive(buffer, "recv family ID fail");
    if (received < 0) return -1;
    return checkReportHeader(*buffer, received, message, command);
}

int NetlinkHandler::checkReportHeader(const genl_msg& buffer, ssize_t received, nl::Message* message,
                                      uint8_t* command) const {
    genlmsghdr genl;
    if (!nl::Message::parse(&buffer, static_cast<size_t>(received), message) ||
        message->type() == nl::kTypeError || !message->genlHeader(&genl)) {
        KLOGE("netlink header is invalid when recv the report:%d", buffer.n.nlmsg_type);
        return -1;
    }
    *command = genl.cmd;
    return 0;
}

int NetlinkHandler::paserThroughputReport(const nl::Message& message, int* inPkts, int* outPkts, int* inBytes,
                                          int* outBytes) const {
    nl::AttrWalker walker = message.genlAttrs();
    uint32_t values[4];
    if (!expectOwnUid(walker, mUid) || !expectU32(walker, KORUN_ATTR_IN_PKTS, &values[0]) ||
        !expectU32(walker, KORUN_ATTR_OUT_PKTS, &values[1]) || !expectU32(walker, KORUN_ATTR_IN_BYTES, &values[2]) ||
        !expectU32(walker, KORUN_ATTR_OUT_BYTES, &values[3])) {
        return -1;
    }
    int* const outputs[] = {inPkts, outPkts, inBytes, outBytes};
    for (size_t i = 0; i < 4; ++i) {
        if (outputs[i] != nullptr) *outputs[i] = static_cast<int>(values[i]);
    }
    return 0;
}

int NetlinkHandler::paserDouyinDetectionReport(const nl::Message& message, AwemeReportPara* record) const {
    nl::AttrWalker walker = message.genlAttrs();
    if (!expectOwnUid(walker, mUid) || !expectU32(walker, KORUN_ATTR_DETECT_INDEX, &record->detect_index) ||
        !expectU32(walker, KORUN_ATTR_CUR_INDEX, &record->cur_index) ||
        !expectU32(walker, KORUN_ATTR_VALID_NUM, &record->valid_num) ||
        !expectU32(walker, KORUN_ATTR_DETECT_STATE, &record->detect_state) ||
        !expectFixed(walker, KORUN_ATTR_STALL_INFO, record->stall_info, sizeof(record->stall_info))) {
        return -1;
    }
    return 0;
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
