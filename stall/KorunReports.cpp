#include "KorunReports.h"

#include "StallLog.h"

namespace mqqoe::korun {
namespace {

// What each report attribute is called when another type stands in its place.
const char* attrWording(uint16_t type) {
    switch (type) {
        case KORUN_ATTR_UID:
            return "UID";
        case KORUN_ATTR_IN_PKTS:
            return "inPkts";
        case KORUN_ATTR_OUT_PKTS:
            return "outPkts";
        case KORUN_ATTR_IN_BYTES:
            return "inbytes";
        case KORUN_ATTR_OUT_BYTES:
            return "outbytes";
        case KORUN_ATTR_DETECT_INDEX:
            return "cur_detect_index";
        case KORUN_ATTR_CUR_INDEX:
            return "cur_index";
        case KORUN_ATTR_VALID_NUM:
        case KORUN_ATTR_DETECT_STATE:  // the state word shares the valid_num wording
            return "valid_num";
        default:
            return "stall info";
    }
}

void logUnexpectedAttr(uint16_t wanted, uint16_t got) {
    KLOGE("We hope get the %s, but get the type: %d", attrWording(wanted), got);
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

bool readReportHeader(const genl_msg& buffer, ssize_t received, nl::Message* message, uint8_t* command) {
    genlmsghdr genl;
    if (received < 0 || !nl::Message::parse(&buffer, static_cast<size_t>(received), message) ||
        message->type() == nl::kTypeError || !message->genlHeader(&genl)) {
        KLOGE("netlink header is invalid when recv the report:%d", buffer.n.nlmsg_type);
        return false;
    }
    *command = genl.cmd;
    return true;
}

bool readThroughputReport(const nl::Message& message, int32_t uid, ThroughputReport* report) {
    nl::AttrWalker walker = message.genlAttrs();
    ThroughputReport values{};
    if (!expectOwnUid(walker, uid) || !expectU32(walker, KORUN_ATTR_IN_PKTS, &values.inPkts) ||
        !expectU32(walker, KORUN_ATTR_OUT_PKTS, &values.outPkts) ||
        !expectU32(walker, KORUN_ATTR_IN_BYTES, &values.inBytes) ||
        !expectU32(walker, KORUN_ATTR_OUT_BYTES, &values.outBytes)) {
        return false;
    }
    *report = values;
    return true;
}

bool readAwemeReport(const nl::Message& message, int32_t uid, AwemeReportPara* record) {
    nl::AttrWalker walker = message.genlAttrs();
    return expectOwnUid(walker, uid) && expectU32(walker, KORUN_ATTR_DETECT_INDEX, &record->detect_index) &&
           expectU32(walker, KORUN_ATTR_CUR_INDEX, &record->cur_index) &&
           expectU32(walker, KORUN_ATTR_VALID_NUM, &record->valid_num) &&
           expectU32(walker, KORUN_ATTR_DETECT_STATE, &record->detect_state) &&
           expectFixed(walker, KORUN_ATTR_STALL_INFO, record->stall_info, sizeof(record->stall_info));
}

}  // namespace mqqoe::korun
