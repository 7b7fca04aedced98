#pragma once
// The library's side of the contract with the kernel stall-detection module:
// family "zvkorun", its commands, attributes and classes come from the wire
// header the module is built with; the slot and buffer sizes of the commands
// this library builds are its own.

#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <cstddef>
#include <cstdint>

#include "GenlChannel.h"
#include "Netlink.h"
#include "mqqoe_netlink.h"

namespace mqqoe {

namespace korun {

constexpr char kFamilyName[] = KORUN_GENL_NAME;
constexpr uint8_t kGenlVersion = KORUN_GENL_VERSION;

constexpr size_t kSendBufferSize = nl::GenlChannel::kMessageCapacity;
constexpr size_t kAttrPayloadMax = 500;
constexpr int kMaxAttrs = 5;

// Detection classes told to the kernel.
constexpr int32_t kClassCall = KORUN_CLASS_CALL;
constexpr int32_t kClassShortVideo = KORUN_CLASS_SHORT_VIDEO;
constexpr int32_t kClassShortVideoPicture = KORUN_CLASS_SHORT_VIDEO_PICTURE;

constexpr size_t kStallInfoEntries = KORUN_STALL_INFO_ENTRIES;
constexpr size_t kStallInfoEntrySize = KORUN_STALL_INFO_ENTRY_LEN;
constexpr size_t kStallInfoSize = KORUN_STALL_INFO_LEN;

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
static_assert(sizeof(genl_msg) == nl::GenlChannel::kReceiveCapacity, "receive buffer layout");
static_assert(offsetof(genl_msg, g) == nl::kHeaderSize && offsetof(genl_msg, buf) == nl::kGenlHeaderSize,
              "both headers, then the attributes");

}  // namespace mqqoe
