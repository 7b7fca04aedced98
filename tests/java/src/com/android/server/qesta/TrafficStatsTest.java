package com.android.server.qesta;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/**
 * The traffic natives from Java: the result object the reader's figures
 * become, and the natives on this host. What the reader sums and counts is
 * covered by the C++ TrafficStatsTest.
 */
class TrafficStatsTest {
    private static final String HEADER = "idx iface acct_tag_hex uid_tag_int cnt_set rx_bytes rx_packets\n";

    /** The reader native's code with the three paths given (test hook library). */
    static native ZvQoeUdpNetworkInfo readFixtures(String accounting, String udp, String udp6, int uid, int type);

    @TempDir Path dir;

    @BeforeAll
    static void loadHook() {
        System.load(System.getProperty("mqqoe.bindir") + "/tests/jni/libtraffic_fixture_jni.so");
    }

    private String file(String name, String text) throws IOException {
        return Files.writeString(dir.resolve(name), text).toString();
    }

    /** Counters c[i] = base + i of one accounting line. */
    private static String line(String iface, long base) {
        StringBuilder text = new StringBuilder("2 " + iface + " 0x0 1000 0");
        for (int i = 0; i < 16; i++) {
            text.append(' ').append(Long.toUnsignedString(base + i));
        }
        return text.append('\n').toString();
    }

    private static String udp(int slot, int uid) {
        return "  " + slot + ": 0100007F:0035 00000000:0000 07 00000000:00000000 00:00000000 00000000 "
                + uid + "        0 4000" + slot + " 2 0000000000000000 0\n";
    }

    @Test
    void everyFieldOfTheResultHoldsItsOwnFigure() throws IOException {
        String udp4 = file("udp", HEADER + udp(0, 1000) + udp(1, 1000) + udp(2, 0) + udp(3, 1000));
        String udp6 = file("udp6", HEADER + udp(0, 1000));
        ZvQoeUdpNetworkInfo info = readFixtures(file("stats", HEADER + line("rmnet0", 1000)), udp4, udp6, 1000, 0);
        assertNotNull(info);
        // Columns rx tcp 4,5; rx udp 6,7; tx tcp 10,11; tx udp 12,13.
        assertArrayEquals(new long[] {1000, 4, 4, 5, 1004, 1005, 1010, 1011, 1006, 1007, 1012, 1013, 1005 + 1007},
                new long[] {info.mUid, info.mUidUdpSockets, info.mSumUdpUids, info.mSumUdpSockets,
                    info.mRxTcpBytes, info.mRxTcpPackets, info.mTxTcpBytes, info.mTxTcpPackets,
                    info.mRxUdpBytes, info.mRxUdpPackets, info.mTxUdpBytes, info.mTxUdpPackets, info.mSumRxPackets});
        // Unsigned totals beyond Long.MAX_VALUE keep their bits.
        String huge = file("huge", HEADER + line("wlan0", -100L) + line("wlan0", -100L));
        assertEquals(-200L + 8, readFixtures(huge, udp4, udp6, 0, 1).mRxTcpBytes);
    }

    @Test
    void nativesOnThisHost() {
        assertNull(ZvQestaJniAdapter.nativeReadUdpNetworkStatsDetail(-1, 0));
        if (!new File("/proc/net/xt_qtaguid/stats").exists()) {
            assertNull(ZvQestaJniAdapter.nativeReadUdpNetworkStatsDetail(0, 2));
        }
        // No stall session has run in this process.
        assertArrayEquals(new long[] {0, 0}, new ZvQestaJniAdapter().nativeGetCurrTotalTraffic());
    }
}
