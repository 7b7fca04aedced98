#include "GenlKernel.h"

// Placeholder until the generic netlink kernel lands: records only.
namespace kemu::genl {

void kernel(Channel&, const Bytes&) {}
void reset() {}

}  // namespace kemu::genl
