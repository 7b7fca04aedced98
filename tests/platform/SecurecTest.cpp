// The bounded memory and scanning functions of the secure C library stand-in.

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "securec.h"

namespace {

TEST(Securec, MemsetAndMemcpyStayWithinBoundsAndClearTheDestinationOnError) {
    char buffer[8] = "abcdefg";
    EXPECT_EQ(EOK, memset_s(buffer, sizeof(buffer), 'x', 3));
    EXPECT_STREQ("xxxdefg", buffer);
    EXPECT_NE(EOK, memset_s(buffer, 4, 0, 5));
    EXPECT_STREQ("xxxdefg", buffer);  // untouched
    EXPECT_NE(EOK, memset_s(nullptr, 4, 0, 1));

    EXPECT_EQ(EOK, memcpy_s(buffer, sizeof(buffer), "XY", 2));
    EXPECT_STREQ("XYxdefg", buffer);
    EXPECT_NE(EOK, memcpy_s(buffer, 4, "0123456789", 5));
    EXPECT_EQ(0, buffer[0]);
    std::strcpy(buffer, "abcdefg");
    EXPECT_NE(EOK, memcpy_s(buffer + 1, 7, buffer, 4));  // overlapping
    EXPECT_EQ(0, buffer[1]);
    EXPECT_NE(EOK, memcpy_s(buffer, sizeof(buffer), nullptr, 1));
}

TEST(Securec, SscanfHonoursBufferSizesAndSaturatesLikeTheCLibrary) {
    int value = 0;
    EXPECT_EQ(-1, sscanf_s(" \t\n", "%d", &value));  // input failure before the first field
    EXPECT_EQ(0, sscanf_s("x", "%d", &value));       // a mismatch is not
    char small[4], next[8];
    EXPECT_EQ(2, sscanf_s("abcdefg", "%3s%7s", small, sizeof(small), next, sizeof(next)));
    EXPECT_STREQ("abc", small);
    EXPECT_STREQ("defg", next);
    EXPECT_EQ(0, sscanf_s("abcdefg", "%s", small, sizeof(small)));  // does not fit: the scan stops
    unsigned long u = 0;
    long l = 0;
    EXPECT_EQ(1, sscanf_s("99999999999999999999999", "%lu", &u));
    EXPECT_EQ(ULONG_MAX, u);
    EXPECT_EQ(1, sscanf_s("-9999999999999999999999", "%ld", &l));
    EXPECT_EQ(LONG_MIN, l);
    EXPECT_EQ(1, sscanf_s("0x1F", "%lx", &u));
    EXPECT_EQ(0x1Fu, u);
}

}  // namespace
