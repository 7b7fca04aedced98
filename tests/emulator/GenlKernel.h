#pragma once
// The stall-detection module's side of generic netlink, with the controller's
// family lookup.

#include "KernelEmulator.h"

namespace kemu::genl {

void kernel(Channel& channel, const Bytes& message);
void reset();

}  // namespace kemu::genl
