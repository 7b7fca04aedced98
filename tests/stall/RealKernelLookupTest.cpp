// The family lookup against this host's own generic netlink controller,
// whose family "nlctrl" always has id 16.

#include "NetlinkHandler.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

using namespace mqqoe;  // NOLINT: the engine under test

TEST(RealKernelLookup, ResolvesTheControllerFamilyAndRefusesAnUnknownOne) {
    // A host without generic netlink (qemu's user-mode emulation among them)
    // refuses the protocol or the family outright; any other failure is real.
    int probe = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_GENERIC);
    if (probe < 0 && (errno == EPROTONOSUPPORT || errno == EAFNOSUPPORT)) {
        GTEST_SKIP() << "no generic netlink on this host: " << std::strerror(errno);
    }
    if (probe >= 0) close(probe);
    NetlinkHandler handler;
    ASSERT_EQ(0, handler.setupSocket());
    EXPECT_EQ(-1, handler.getFamilyID("zvkorun-absent"));
    EXPECT_EQ(0, handler.familyId());
    ASSERT_EQ(0, handler.getFamilyID("nlctrl"));
    EXPECT_EQ(16, handler.familyId());
}
