// The family lookup against this host's own generic netlink controller,
// whose family "nlctrl" always has id 16.

#include "NetlinkHandler.h"

#include <gtest/gtest.h>

TEST(RealKernelLookup, ResolvesTheControllerFamilyAndRefusesAnUnknownOne) {
    NetlinkHandler handler;
    ASSERT_EQ(0, handler.setupSocket()) << "no generic netlink on this host";
    EXPECT_EQ(-1, handler.getFamilyID("zvkorun-absent"));
    EXPECT_EQ(0, handler.familyId());
    ASSERT_EQ(0, handler.getFamilyID("nlctrl"));
    EXPECT_EQ(16, handler.familyId());
}
