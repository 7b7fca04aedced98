#pragma once
// The 24-byte payloads of the policy channel's messages, zero-filled apart
// from the fields named here. Host byte order.

#include <cstddef>
#include <cstdint>

#include "mqqoe_netlink.h"

namespace mqqoe {

// Type 3: a DPI mark rule. The flag and the mark are fixed by the kernel
// module's rule format.
struct DpiRuleRecord {
    static constexpr uint32_t kFlag = QOE_DPI_RULE_FLAG;
    static constexpr uint32_t kMark = QOE_DPI_RULE_MARK;
    uint32_t first = 0;
    uint32_t reserved[2] = {};
    uint32_t flag = kFlag;
    uint8_t second = 0;  // the low byte of the Java argument
    uint8_t pad[3] = {};
    uint32_t mark = kMark;
};

// Type 8: reset the sockets of a uid.
struct ResetRecord {
    int32_t uid = 0;
    int32_t reserved[5] = {};
};

// Type 9: close the sockets of a process.
struct CloseRecord {
    int32_t second = 0;
    int32_t reserved1 = 0;
    int32_t first = 0;
    int32_t reserved2[3] = {};
};

// Types 6 and 7: bind a uid's sockets to a network, or unbind them.
struct BindRecord {
    int32_t uid = 0;
    int32_t netId = 0;
    int32_t reserved[4] = {};
};

constexpr size_t kPolicyPayloadSize = QOE_POLICY_RECORD_LEN;
static_assert(sizeof(DpiRuleRecord) == kPolicyPayloadSize && offsetof(DpiRuleRecord, flag) == 12 &&
                      offsetof(DpiRuleRecord, second) == 16 && offsetof(DpiRuleRecord, mark) == 20,
              "DPI rule layout");
static_assert(sizeof(ResetRecord) == kPolicyPayloadSize, "reset record layout");
static_assert(sizeof(CloseRecord) == kPolicyPayloadSize && offsetof(CloseRecord, first) == 8, "close record layout");
static_assert(sizeof(BindRecord) == kPolicyPayloadSize && offsetof(BindRecord, netId) == 4, "bind record layout");
// The same bytes as the module's own records.
static_assert(sizeof(DpiRuleRecord) == sizeof(qoe_policy_dpi_rule) &&
                      offsetof(DpiRuleRecord, flag) == offsetof(qoe_policy_dpi_rule, flag) &&
                      offsetof(DpiRuleRecord, second) == offsetof(qoe_policy_dpi_rule, second) &&
                      offsetof(DpiRuleRecord, mark) == offsetof(qoe_policy_dpi_rule, mark),
              "DPI rule as the module reads it");
static_assert(sizeof(ResetRecord) == sizeof(qoe_policy_reset) && offsetof(ResetRecord, uid) == offsetof(qoe_policy_reset, uid),
              "reset record as the module reads it");
static_assert(sizeof(CloseRecord) == sizeof(qoe_policy_close) &&
                      offsetof(CloseRecord, second) == offsetof(qoe_policy_close, second) &&
                      offsetof(CloseRecord, first) == offsetof(qoe_policy_close, first),
              "close record as the module reads it");
static_assert(sizeof(BindRecord) == sizeof(qoe_policy_bind) && offsetof(BindRecord, netId) == offsetof(qoe_policy_bind, net_id),
              "bind record as the module reads it");

}  // namespace mqqoe
