// The bounded memory and scanning functions of the secure C library stand-in.

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include "securec.h"

namespace {

TEST(MemsetS, FillsWithinBoundsAndRefusesBeyond) {
    char buffer[8] = "abcdefg";
    EXPECT_EQ(EOK, memset_s(buffer, sizeof(buffer), 'x', 3));
    EXPECT_STREQ("xxxdefg", buffer);
    EXPECT_NE(EOK, memset_s(buffer, 4, 0, 5));
    EXPECT_STREQ("xxxdefg", buffer);  // untouched
    EXPECT_NE(EOK, memset_s(nullptr, 4, 0, 1));
}

TEST(MemcpyS, CopiesWithinBoundsAndClearsTheDestinationOnError) {
    char buffer[8] = "abcdefg";
    EXPECT_EQ(EOK, memcpy_s(buffer, sizeof(buffer), "XY", 2));
    EXPECT_STREQ("XYcdefg", buffer);
    EXPECT_EQ(EOK, memcpy_s(buffer, sizeof(buffer), "", 0));
    EXPECT_NE(EOK, memcpy_s(buffer, 4, "0123456789", 5));
    EXPECT_EQ(0, buffer[0]);
    std::strcpy(buffer, "abcdefg");
    EXPECT_NE(EOK, memcpy_s(buffer + 1, 7, buffer, 4));  // overlapping
    EXPECT_EQ(0, buffer[1]);
    EXPECT_NE(EOK, memcpy_s(buffer, sizeof(buffer), nullptr, 1));
}

TEST(SscanfS, InputFailureBeforeTheFirstFieldIsMinusOne) {
    int value = 0;
    EXPECT_EQ(-1, sscanf_s("", " %d", &value));
    EXPECT_EQ(-1, sscanf_s(" \t\n", "%d", &value));
    EXPECT_EQ(0, sscanf_s("x", "%d", &value));  // a mismatch is not an input failure
    EXPECT_EQ(0, sscanf_s("1", "0x%d", &value));
    EXPECT_EQ(-1, sscanf_s(nullptr, "%d", &value));
}

TEST(SscanfS, StringFieldsHonourWidthAndBufferSize) {
    char small[4], next[8];
    // The width leaves the rest of the word for the next directive.
    EXPECT_EQ(2, sscanf_s("abcdefg", "%3s%7s", small, sizeof(small), next, sizeof(next)));
    EXPECT_STREQ("abc", small);
    EXPECT_STREQ("defg", next);
    // A word that does not fit its buffer stops the scan there.
    EXPECT_EQ(0, sscanf_s("abcdefg", "%s", small, sizeof(small)));
    EXPECT_EQ(0, sscanf_s("abcd 5", "%7s", small, sizeof(small)));
    char c[2];
    EXPECT_EQ(1, sscanf_s("xy", "%2c", c, sizeof(c)));
    EXPECT_EQ(0, std::memcmp(c, "xy", 2));
    EXPECT_EQ(0, sscanf_s("xyz", "%3c", c, sizeof(c)));
    char set[8];
    EXPECT_EQ(1, sscanf_s("abc123", "%7[a-c]", set, sizeof(set)));
    EXPECT_STREQ("abc", set);
    EXPECT_EQ(1, sscanf_s("12:34", "%7[^:]", set, sizeof(set)));
    EXPECT_STREQ("12", set);
}

TEST(SscanfS, IntegersSaturateAndWrapLikeTheCLibrary) {
    unsigned long u = 0;
    long l = 0;
    int i = 0;
    EXPECT_EQ(1, sscanf_s("18446744073709551615", "%lu", &u));
    EXPECT_EQ(ULONG_MAX, u);
    EXPECT_EQ(1, sscanf_s("99999999999999999999999", "%lu", &u));
    EXPECT_EQ(ULONG_MAX, u);
    EXPECT_EQ(1, sscanf_s("-1", "%lu", &u));
    EXPECT_EQ(ULONG_MAX, u);
    EXPECT_EQ(1, sscanf_s("-9999999999999999999999", "%ld", &l));
    EXPECT_EQ(LONG_MIN, l);
    EXPECT_EQ(1, sscanf_s("0x1F", "%lx", &u));
    EXPECT_EQ(0x1Fu, u);
    EXPECT_EQ(1, sscanf_s("12345", "%3d", &i));
    EXPECT_EQ(123, i);
    EXPECT_EQ(1, sscanf_s("017", "%i", &i));
    EXPECT_EQ(15, i);
}

// Random lines of the proc formats, scanned by sscanf_s and by the C
// library's sscanf: the same count and the same values every time.
TEST(SscanfS, AgreesWithTheCLibraryOnRandomProcLines) {
    std::mt19937_64 random(11);
    const char* pieces[] = {"0", "1", "-1", "0x", "0x1f", "rmnet0", "wlan0", "18446744073709551615",
                            "18446744073709551616", "4294967296", "+7", "-", "abc", "00000000:0035", "  ", "\t"};
    constexpr size_t kPieces = sizeof(pieces) / sizeof(pieces[0]);
    for (int round = 0; round < 20000; ++round) {
        std::string line;
        int words = static_cast<int>(random() % 24);
        for (int w = 0; w < words; ++w) {
            line += pieces[random() % kPieces];
            if (random() % 4) line += ' ';
        }
        SCOPED_TRACE(line);
        unsigned a1 = 0, a2 = 0, e1 = 0, e2 = 0;
        char s1[32] = {}, s2[32] = {};
        unsigned long t1 = 0, t2 = 0, c1[16] = {}, c2[16] = {};
        int d1 = 0, d2 = 0;
        int r1 = sscanf_s(line.c_str(),
                          " %u %31s 0x%lx %d %u %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu",
                          &a1, s1, sizeof(s1), &t1, &d1, &e1, &c1[0], &c1[1], &c1[2], &c1[3], &c1[4], &c1[5],
                          &c1[6], &c1[7], &c1[8], &c1[9], &c1[10], &c1[11], &c1[12], &c1[13], &c1[14], &c1[15]);
        int r2 = sscanf(line.c_str(),
                        " %u %31s 0x%lx %d %u %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu", &a2,
                        s2, &t2, &d2, &e2, &c2[0], &c2[1], &c2[2], &c2[3], &c2[4], &c2[5], &c2[6], &c2[7], &c2[8],
                        &c2[9], &c2[10], &c2[11], &c2[12], &c2[13], &c2[14], &c2[15]);
        ASSERT_EQ(r2, r1);
        EXPECT_EQ(a2, a1);
        EXPECT_STREQ(s2, s1);
        EXPECT_EQ(t2, t1);
        EXPECT_EQ(d2, d1);
        EXPECT_EQ(e2, e1);
        EXPECT_EQ(0, std::memcmp(c1, c2, sizeof(c1)));

        char u1[7][32] = {}, u2[7][32] = {};
        int uid1 = 0, uid2 = 0;
        r1 = sscanf_s(line.c_str(), "%31s%31s%31s%31s%31s%31s%31s %d", u1[0], 32, u1[1], 32, u1[2], 32, u1[3], 32,
                      u1[4], 32, u1[5], 32, u1[6], 32, &uid1);
        r2 = sscanf(line.c_str(), "%31s%31s%31s%31s%31s%31s%31s %d", u2[0], u2[1], u2[2], u2[3], u2[4], u2[5],
                    u2[6], &uid2);
        ASSERT_EQ(r2, r1);
        EXPECT_EQ(0, std::memcmp(u1, u2, sizeof(u1)));
        EXPECT_EQ(uid2, uid1);
    }
}

}  // namespace
