#pragma once
// Contract with the kernel stall-detection module: generic netlink family
// "zvkorun", its commands and attributes.

#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <cstddef>
#include <cstdint>

#include "Netlink.h"

// Commands of the family.
enum KorunCmd : uint8_t {
    KORUN_CMD_START = 1,
    KORUN_CMD_STOP = 2,
    KORUN_CMD_KEEPALIVE = 3,
    KORUN_CMD_UPDATE = 4,
    KORUN_CMD_TP_REPORT = 5,
    KORUN_CMD_AWEME_REPORT = 6,
};

// Attributes of the family; every numeric payload is a 4-byte host-order integer.
enum KorunAttr : uint16_t {
    KORUN_ATTR_UID = 1,
    KORUN_ATTR_DETECT_CLASS = 2,
    KORUN_ATTR_INTERVAL = 3,
    KORUN_ATTR_IN_PKTS = 4,
    KORUN_ATTR_OUT_PKTS = 5,
    KORUN_ATTR_IN_BYTES = 6,
    KORUN_ATTR_OUT_BYTES = 7,
    KORUN_ATTR_SEARCH_KEYS = 8,
    KORUN_ATTR_DETECT_INDEX = 9,
    KORUN_ATTR_CUR_INDEX = 10,
    KORUN_ATTR_VALID_NUM = 11,
    KORUN_ATTR_DETECT_STATE = 12,
    KORUN_ATTR_STALL_INFO = 13,
};

namespace korun {

constexpr char kFamilyName[] = "zvkorun";
constexpr uint8_t kGenlVersion = 1;

constexpr size_t kSendBufferSize = 1024;
constexpr size_t kAttrPayloadMax = 500;
constexpr int kMaxAttrs = 5;

// Detection classes told to the kernel.
constexpr int32_t kClassCall = 1;
constexpr int32_t kClassShortVideo = 2;
constexpr int32_t kClassShortVideoPicture = 3;

constexpr size_t kStallInfoEntries = 10;
constexpr size_t kStallInfoEntrySize = 80;
constexpr size_t kStallInfoSize = kStallInfoEntries * kStallInfoEntrySize;  // 800

}  // namespace korun

// One attribute slot handed to NetlinkHandler::sendCommand.
struct nl_attr_data {
    uint16_t length;  // payload bytes, without the attribute header
    uint16_t type;
    uint8_t data[korun::kAttrPayloadMax];
};
static_assert(sizeof(nl_attr_data) == 504 && offsetof(nl_attr_data, type) == 2 && offsetof(nl_attr_data, data) == 4,
              "attribute slot layout");

// One received message: both headers and the rest of the 1044-byte buffer.
struct genl_msg {
    nlmsghdr n;
    genlmsghdr g;
    uint8_t buf[korun::kSendBufferSize];
};
static_assert(sizeof(genl_msg) == 1044, "receive buffer layout");
static_assert(offsetof(genl_msg, g) == nl::kHeaderSize && offsetof(genl_msg, buf) == nl::kGenlHeaderSize,
              "both headers, then the attributes");
