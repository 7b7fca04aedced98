#include "GenlKernel.h"

#include <errno.h>
#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <deque>
#include <mutex>

namespace kemu::genl {
namespace {

constexpr char kFamilyName[] = KORUN_GENL_NAME;
constexpr size_t kHeaderSize = NLMSG_HDRLEN + GENL_HDRLEN;
constexpr size_t kEntrySize = KORUN_STALL_INFO_ENTRY_LEN;

std::mutex gLock;
int gFamilyId = kDefaultFamilyId;
bool gSilent = false;
std::deque<int> gNacks;

int familyId() {
    std::lock_guard<std::mutex> guard(gLock);
    return gFamilyId;
}

template <typename T>
void put(Bytes& out, size_t offset, const T& value) {
    if (out.size() < offset + sizeof(value)) out.resize(offset + sizeof(value), 0);
    std::memcpy(out.data() + offset, &value, sizeof(value));
}

template <typename T>
T get(const Bytes& in, size_t offset) {
    T value{};
    if (in.size() >= offset + sizeof(value)) std::memcpy(&value, in.data() + offset, sizeof(value));
    return value;
}

Bytes build(uint16_t type, uint32_t seq, uint32_t pid, uint8_t cmd, uint8_t version,
            const std::vector<std::pair<int, Bytes>>& attrs) {
    Bytes out(kHeaderSize, 0);
    for (const auto& [attrType, payload] : attrs) {
        size_t at = out.size();
        put(out, at, static_cast<uint16_t>(NLA_HDRLEN + payload.size()));
        put(out, at + 2, static_cast<uint16_t>(attrType));
        out.insert(out.end(), payload.begin(), payload.end());
        out.resize(NLA_ALIGN(out.size()), 0);
    }
    put(out, 0, static_cast<uint32_t>(out.size()));
    put(out, 4, type);
    put(out, 8, seq);
    put(out, 12, pid);
    out[16] = cmd;
    out[17] = version;
    return out;
}

// NLMSG_ERROR carrying `error` and the request's header, as the kernel acks.
Bytes ackFor(const Bytes& request, int error) {
    Bytes out;
    put(out, 0, static_cast<uint32_t>(NLMSG_HDRLEN + sizeof(int32_t) + NLMSG_HDRLEN));
    put(out, 4, static_cast<uint16_t>(NLMSG_ERROR));
    put(out, 8, get<uint32_t>(request, 8));
    put(out, 12, get<uint32_t>(request, 12));
    put(out, 16, static_cast<int32_t>(error));
    out.insert(out.end(), request.begin(), request.begin() + NLMSG_HDRLEN);
    return out;
}

void answerLookup(Channel& channel, const Bytes& request) {
    Bytes name = attrOf(request, CTRL_ATTR_FAMILY_NAME);
    if (name.size() != sizeof(kFamilyName) || std::memcmp(name.data(), kFamilyName, sizeof(kFamilyName)) != 0) {
        channel.deliver(ackFor(request, -ENOENT));
        return;
    }
    // Laid out like the controller's reply: the name first, then the id.
    Bytes id;
    put(id, 0, static_cast<uint16_t>(familyId()));
    channel.deliver(build(GENL_ID_CTRL, get<uint32_t>(request, 8), get<uint32_t>(request, 12), CTRL_CMD_NEWFAMILY, 2,
                          {{CTRL_ATTR_FAMILY_NAME, name}, {CTRL_ATTR_FAMILY_ID, id}}));
}

}  // namespace

void kernel(Channel& channel, const Bytes& message) {
    if (message.size() < kHeaderSize) return;
    int type = typeOf(message);
    if (type == GENL_ID_CTRL) {
        if (commandOf(message) == CTRL_CMD_GETFAMILY) answerLookup(channel, message);
        return;
    }
    if ((flagsOf(message) & NLM_F_ACK) == 0) return;
    int error = 0;
    {
        std::lock_guard<std::mutex> guard(gLock);
        if (type != gFamilyId) {
            error = -ENOENT;
        } else if (gSilent) {
            return;
        } else if (!gNacks.empty()) {
            error = gNacks.front();
            gNacks.pop_front();
        }
    }
    channel.deliver(ackFor(message, error));
}

void reset() {
    std::lock_guard<std::mutex> guard(gLock);
    gFamilyId = kDefaultFamilyId;
    gSilent = false;
    gNacks.clear();
}

void nackNext(int error, int count) {
    std::lock_guard<std::mutex> guard(gLock);
    for (int i = 0; i < count; ++i) gNacks.push_back(error);
}

void setSilent(bool silent) {
    std::lock_guard<std::mutex> guard(gLock);
    gSilent = silent;
}

Bytes u32Payload(uint32_t value) {
    Bytes out;
    put(out, 0, value);
    return out;
}

Bytes message(int type, int command, const std::vector<std::pair<int, Bytes>>& attrs) {
    return build(static_cast<uint16_t>(type), 0, 0, static_cast<uint8_t>(command), 1, attrs);
}

bool pushRaw(const Bytes& message) { return deliverToNewest(kGenericProtocol, message); }

bool pushThroughputReport(int uid, uint32_t inPkts, uint32_t outPkts, uint32_t inBytes, uint32_t outBytes) {
    return pushRaw(message(familyId(), KORUN_CMD_TP_REPORT,
                           {{KORUN_ATTR_UID, u32Payload(static_cast<uint32_t>(uid))},
                            {KORUN_ATTR_IN_PKTS, u32Payload(inPkts)},
                            {KORUN_ATTR_OUT_PKTS, u32Payload(outPkts)},
                            {KORUN_ATTR_IN_BYTES, u32Payload(inBytes)},
                            {KORUN_ATTR_OUT_BYTES, u32Payload(outBytes)}}));
}

bool pushAwemeReport(int uid, uint32_t detectIndex, uint32_t curIndex, uint32_t validNum, uint32_t detectState,
                     const Bytes& stallInfo) {
    Bytes info = stallInfo;
    info.resize(kStallInfoSize, 0);
    return pushRaw(message(familyId(), KORUN_CMD_AWEME_REPORT,
                           {{KORUN_ATTR_UID, u32Payload(static_cast<uint32_t>(uid))},
                            {KORUN_ATTR_DETECT_INDEX, u32Payload(detectIndex)},
                            {KORUN_ATTR_CUR_INDEX, u32Payload(curIndex)},
                            {KORUN_ATTR_VALID_NUM, u32Payload(validNum)},
                            {KORUN_ATTR_DETECT_STATE, u32Payload(detectState)}, {KORUN_ATTR_STALL_INFO, info}}));
}

void setStallEntry(Bytes& stallInfo, int index, uint64_t loadedBase, uint64_t total, const std::string& video,
                   uint32_t rangeStart, uint32_t inBytes, int32_t timescale, int32_t dur) {
    if (index < 0 || index >= kStallInfoSize / static_cast<int>(kEntrySize)) return;
    stallInfo.resize(kStallInfoSize, 0);
    size_t at = static_cast<size_t>(index) * kEntrySize;
    put(stallInfo, at + offsetof(korun_stall_info, loaded_base), loadedBase);
    put(stallInfo, at + offsetof(korun_stall_info, total), total);
    uint8_t* key = stallInfo.data() + at + offsetof(korun_stall_info, video);
    std::memset(key, 0, KORUN_VIDEO_KEY_LEN);
    std::memcpy(key, video.data(), std::min<size_t>(video.size(), KORUN_VIDEO_KEY_LEN - 1));
    put(stallInfo, at + offsetof(korun_stall_info, range_start), rangeStart);
    put(stallInfo, at + offsetof(korun_stall_info, in_bytes), inBytes);
    put(stallInfo, at + offsetof(korun_stall_info, timescale), timescale);
    put(stallInfo, at + offsetof(korun_stall_info, dur), dur);
}

std::vector<Bytes> sentMessages() { return sent(kGenericProtocol); }

int typeOf(const Bytes& message) { return get<uint16_t>(message, 4); }
int flagsOf(const Bytes& message) { return get<uint16_t>(message, 6); }
int pidOf(const Bytes& message) { return static_cast<int>(get<uint32_t>(message, 12)); }
int commandOf(const Bytes& message) { return message.size() > 16 ? message[16] : -1; }
int versionOf(const Bytes& message) { return message.size() > 17 ? message[17] : -1; }

namespace {

// The attributes inside the message as (type, payload), up to the first malformed one.
std::vector<std::pair<int, Bytes>> attrsOf(const Bytes& message) {
    std::vector<std::pair<int, Bytes>> attrs;
    size_t end = std::min<size_t>(message.size(), get<uint32_t>(message, 0));
    for (size_t at = kHeaderSize; at + NLA_HDRLEN <= end; at += NLA_ALIGN(get<uint16_t>(message, at))) {
        uint16_t len = get<uint16_t>(message, at);
        if (len < NLA_HDRLEN || at + len > end) break;
        auto payload = message.begin() + static_cast<long>(at + NLA_HDRLEN);
        attrs.emplace_back(get<uint16_t>(message, at + 2), Bytes(payload, payload + (len - NLA_HDRLEN)));
    }
    return attrs;
}

}  // namespace

std::vector<int> attrTypesOf(const Bytes& message) {
    std::vector<int> types;
    for (const auto& attr : attrsOf(message)) types.push_back(attr.first);
    return types;
}

Bytes attrOf(const Bytes& message, int type) {
    for (const auto& attr : attrsOf(message)) {
        if (attr.first == type) return attr.second;
    }
    return {};
}

int64_t u32AttrOf(const Bytes& message, int type) {
    Bytes payload = attrOf(message, type);
    return payload.size() < sizeof(uint32_t) ? -1 : get<uint32_t>(payload, 0);
}

}  // namespace kemu::genl
