#pragma once
// The QoE monitor module's side of netlink protocol 24.

#include "KernelEmulator.h"

namespace kemu {

// Answers query commands (1, 7, 8) with a 56-byte reply unless told to stay silent.
void monitorKernel(Channel& channel, const Bytes& message);
void resetQoeKernel();

}  // namespace kemu
