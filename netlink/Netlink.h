#pragma once
// Netlink wire sizes shared by the builder and the parser, and the generic
// netlink controller the family lookup talks to. Host byte order throughout.

#include <linux/genetlink.h>
#include <linux/netlink.h>

#include <cstddef>
#include <cstdint>

namespace nl {

constexpr size_t kHeaderSize = NLMSG_HDRLEN;                 // struct nlmsghdr
constexpr size_t kGenlHeaderSize = kHeaderSize + GENL_HDRLEN;  // both headers
constexpr size_t kAttrHeaderSize = NLA_HDRLEN;
constexpr size_t kErrorCodeSize = sizeof(int32_t);  // nlmsgerr.error, first after the header

static_assert(kHeaderSize == 16 && sizeof(nlmsghdr) == 16, "netlink header layout");
static_assert(offsetof(nlmsghdr, nlmsg_type) == 4 && offsetof(nlmsghdr, nlmsg_flags) == 6 &&
                      offsetof(nlmsghdr, nlmsg_seq) == 8 && offsetof(nlmsghdr, nlmsg_pid) == 12,
              "netlink header layout");
static_assert(kGenlHeaderSize == 20 && sizeof(genlmsghdr) == 4 && offsetof(genlmsghdr, version) == 1,
              "generic netlink header layout");
static_assert(kAttrHeaderSize == 4 && sizeof(nlattr) == 4 && offsetof(nlattr, nla_type) == 2,
              "attribute header layout");
// Every send goes to (and every socket is bound at) a 12-byte netlink address.
static_assert(sizeof(sockaddr_nl) == 12 && offsetof(sockaddr_nl, nl_pid) == 4 && offsetof(sockaddr_nl, nl_groups) == 8,
              "netlink address layout");

constexpr uint16_t kFlagsRequest = NLM_F_REQUEST;                  // 1
constexpr uint16_t kFlagsRequestAck = NLM_F_REQUEST | NLM_F_ACK;  // 5
constexpr uint16_t kTypeError = NLMSG_ERROR;                       // 2

// The generic netlink controller and the part of it the family lookup uses.
constexpr uint16_t kCtrlType = GENL_ID_CTRL;                  // 16
constexpr uint8_t kCtrlCmdGetFamily = CTRL_CMD_GETFAMILY;     // 3
constexpr uint16_t kCtrlAttrFamilyId = CTRL_ATTR_FAMILY_ID;   // 1
constexpr uint16_t kCtrlAttrFamilyName = CTRL_ATTR_FAMILY_NAME;  // 2

// Payloads are padded to 4 bytes.
constexpr size_t align(size_t length) { return (length + NLA_ALIGNTO - 1) & ~static_cast<size_t>(NLA_ALIGNTO - 1); }

}  // namespace nl
