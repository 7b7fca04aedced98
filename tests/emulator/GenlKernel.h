#pragma once
// The stall-detection module's side of generic netlink, with the controller's
// family lookup. Plain functions over ints and byte vectors, so that they can
// be wrapped for the JVM tests as they are.

#include "KernelEmulator.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kemu::genl {

constexpr int kDefaultFamilyId = 27;
constexpr int kStallInfoSize = KORUN_STALL_INFO_LEN;

void kernel(Channel& channel, const Bytes& message);
// Back to: family "zvkorun" with the default id, positive acks, not silent.
void reset();
// The next `count` acknowledgements carry `error` (a nack when non-zero).
void nackNext(int error, int count);
// A silent module acknowledges nothing (the controller still answers).
void setSilent(bool silent);

// Reports, delivered on the newest generic netlink socket. False when there is none.
bool pushThroughputReport(int uid, uint32_t inPkts, uint32_t outPkts, uint32_t inBytes, uint32_t outBytes);
bool pushAwemeReport(int uid, uint32_t detectIndex, uint32_t curIndex, uint32_t validNum, uint32_t detectState,
                     const Bytes& stallInfo);
bool pushRaw(const Bytes& message);

// Writes entry `index` (0..9) of an 800-byte stall info block, growing it if needed.
void setStallEntry(Bytes& stallInfo, int index, uint64_t loadedBase, uint64_t total, const std::string& video,
                   uint32_t rangeStart, uint32_t inBytes, int32_t timescale, int32_t dur);
// One message of the family: headers then attributes given as (type, payload).
Bytes message(int type, int command, const std::vector<std::pair<int, Bytes>>& attrs);
Bytes u32Payload(uint32_t value);

// Decoding what the library sent.
std::vector<Bytes> sentMessages();  // every generic netlink message, oldest first
int typeOf(const Bytes& message);
int flagsOf(const Bytes& message);
int pidOf(const Bytes& message);
int commandOf(const Bytes& message);
int versionOf(const Bytes& message);
std::vector<int> attrTypesOf(const Bytes& message);
// Payload of the first attribute of `type` (as its length says), empty if absent.
Bytes attrOf(const Bytes& message, int type);
// Its payload as a 32-bit value, or -1 when absent or short.
int64_t u32AttrOf(const Bytes& message, int type);

}  // namespace kemu::genl
