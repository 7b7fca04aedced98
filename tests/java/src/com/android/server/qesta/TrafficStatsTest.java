package com.android.server.qesta;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import com.android.server.qesta.testing.LogCapture;

import java.io.File;
import java.io.IOException;
import java.net.DatagramSocket;
import java.net.InetAddress;
import java.net.SocketException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The traffic readers: the natives on this host, and the same code on fixtures. */
class TrafficStatsTest {
    private static final String HEADER = "idx iface acct_tag_hex uid_tag_int cnt_set rx_bytes rx_packets\n";
    private static final String UDP_HEADER =
            "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n";

    /** The reader native's code with the three paths given (test hook library). */
    static native ZvQoeUdpNetworkInfo readFixtures(String accounting, String udp, String udp6, int uid, int type);

    @TempDir Path dir;
    private final ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();

    @BeforeAll
    static void loadHook() {
        System.load(System.getProperty("mqqoe.bindir") + "/tests/jni/libtraffic_fixture_jni.so");
        LogCapture.install();
    }

    @BeforeEach
    void clearLogs() {
        LogCapture.clear();
    }

    private String file(String name, String text) throws IOException {
        return Files.writeString(dir.resolve(name), text, StandardCharsets.UTF_8).toString();
    }

    /** Counters c[i] = base + i of one accounting line. */
    private static String line(int index, String iface, int uid, long base) {
        StringBuilder text = new StringBuilder(index + " " + iface + " 0x0 " + uid + " 0");
        for (int i = 0; i < 16; i++) {
            text.append(' ').append(Long.toUnsignedString(base + i));
        }
        return text.append('\n').toString();
    }

    private static String udp(int slot, int uid) {
        return "  " + slot + ": 0100007F:0035 00000000:0000 07 00000000:00000000 00:00000000 00000000 "
                + uid + "        0 4000" + slot + " 2 0000000000000000 0\n";
    }

    private static int openDescriptors() {
        return new File("/proc/self/fd").list().length;
    }

    @Test
    void fixturesFillEveryFieldOfTheResult() throws IOException {
        String accounting = file("stats", HEADER + line(2, "rmnet0", 1000, 1000) + line(3, "wlan0", 1000, 2000)
                + line(4, "rmnet_data0", 1000, 3000) + line(5, "rmnet0", 10050, 4000));
        String udp4 = file("udp", UDP_HEADER + udp(0, 1000) + udp(1, 1000) + udp(2, 0) + udp(3, 1000));
        String udp6 = file("udp6", UDP_HEADER + udp(0, 1000));

        ZvQoeUdpNetworkInfo info = readFixtures(accounting, udp4, udp6, 1000, 0);
        assertNotNull(info);
        assertEquals(1000, info.mUid);
        assertEquals(4, info.mUidUdpSockets);
        assertEquals(4, info.mSumUdpUids);
        assertEquals(5, info.mSumUdpSockets);
        // Only the rmnet0 line of uid 1000: columns rx tcp 4,5; rx udp 6,7; tx tcp 10,11; tx udp 12,13.
        long[] expected = {1004, 1005, 1010, 1011, 1006, 1007, 1012, 1013, 1005 + 1007};
        long[] actual = {info.mRxTcpBytes, info.mRxTcpPackets, info.mTxTcpBytes, info.mTxTcpPackets,
            info.mRxUdpBytes, info.mRxUdpPackets, info.mTxUdpBytes, info.mTxUdpPackets, info.mSumRxPackets};
        assertArrayEquals(expected, actual);

        ZvQoeUdpNetworkInfo all = readFixtures(accounting, udp4, udp6, 0, 2);
        assertEquals(1004 + 2004 + 3004 + 4004, all.mRxTcpBytes);
        assertEquals(1, all.mUidUdpSockets);
        // Unsigned totals beyond Long.MAX_VALUE keep their bits.
        String huge = file("huge", HEADER + line(2, "wlan0", 1000, -100L) + line(3, "wlan0", 1000, -100L));
        assertEquals(-200L + 8, readFixtures(huge, udp4, udp6, 0, 1).mRxTcpBytes);
    }

    @Test
    void badInputGivesNullOrIsSkippedNeverAPartialObject() throws IOException {
        String good = line(2, "wlan0", 1000, 0);
        String udp4 = file("udp", UDP_HEADER + udp(0, 1000));
        String missing = dir.resolve("absent").toString();
        String blank = file("blank", good + "\n");
        String oddLines = file("odd", good + "1 wlan0 0x0\n" + "x".repeat(500) + "\n" + good.repeat(1)
                + line(3, "i".repeat(32), 1000, 0));

        assertNull(readFixtures(blank, udp4, udp4, 0, 2));
        assertTrue(LogCapture.contains(4, "ZvQoEJNI", "sscanf_s /proc/net/xt_qtaguid/stats fail!"));
        assertNull(readFixtures(missing, udp4, udp4, 0, 2));
        assertNull(readFixtures(oddLines, missing, udp4, 0, 2));
        assertNull(readFixtures(oddLines, file("udpblank", UDP_HEADER + "\n"), udp4, 0, 2));
        assertNull(readFixtures(oddLines, udp4, file("udp6blank", "\n"), 0, 2));
        assertNull(readFixtures(oddLines, udp4, udp4, -1, 2));

        ZvQoeUdpNetworkInfo info = readFixtures(oddLines, udp4, missing, 0, 2);
        assertNotNull(info);
        assertEquals(8, info.mRxTcpBytes);  // the two well-formed lines
        assertEquals(1, info.mSumUdpSockets);
    }

    @Test
    void nativesOnThisHost() {
        assertNull(ZvQestaJniAdapter.nativeReadUdpNetworkStatsDetail(-1, 0));
        if (!new File("/proc/net/xt_qtaguid/stats").exists()) {
            assertNull(ZvQestaJniAdapter.nativeReadUdpNetworkStatsDetail(0, 2));
        }
        // No stall session has run in this process.
        assertArrayEquals(new long[] {0, 0}, adapter.nativeGetCurrTotalTraffic());
    }

    /** Sockets, uid changes and own sockets counted with a parser of the test's own. */
    private static int[] tally(int uid) throws IOException {
        int[] counts = new int[3];
        for (String table : new String[] {"/proc/net/udp", "/proc/net/udp6"}) {
            List<String> lines = Files.readAllLines(Path.of(table));
            long previous = -1;
            for (String text : lines.subList(1, lines.size())) {
                String[] fields = text.trim().split("\\s+");
                if (fields.length < 8) {
                    continue;
                }
                long lineUid = Long.parseLong(fields[7]);
                counts[0]++;
                if (lineUid != previous) {
                    counts[1]++;
                }
                previous = lineUid;
                if (lineUid == uid) {
                    counts[2]++;
                }
            }
        }
        return counts;
    }

    @Test
    void realUdpTablesAgreeWithAnIndependentCount() throws Exception {
        int uid = (Integer) Files.getAttribute(Path.of("/proc/self"), "unix:uid");
        String accounting = file("stats", HEADER);
        // Sockets of our own, so the tables are not just headers.
        List<DatagramSocket> sockets = new ArrayList<>();
        try {
            for (String address : new String[] {"127.0.0.1", "127.0.0.1", "127.0.0.1", "::1"}) {
                try {
                    sockets.add(new DatagramSocket(0, InetAddress.getByName(address)));
                } catch (SocketException e) {
                    // no IPv6 here: the IPv4 sockets still count
                }
            }
            for (int attempt = 0; attempt < 20; attempt++) {
                int[] before = tally(uid);
                ZvQoeUdpNetworkInfo info = readFixtures(accounting, "/proc/net/udp", "/proc/net/udp6", uid, 2);
                int[] after = tally(uid);
                assertNotNull(info);
                if (Arrays.equals(before, after)) {
                    assertArrayEquals(before,
                            new int[] {info.mSumUdpSockets, info.mSumUdpUids, info.mUidUdpSockets});
                    assertTrue(info.mUidUdpSockets >= 3, "own sockets seen");
                    return;
                }
            }
            fail("the UDP tables never held still");
        } finally {
            sockets.forEach(DatagramSocket::close);
        }
    }

    @Test
    void manyReadsLeakNoDescriptor() throws IOException {
        String good = file("stats", HEADER + line(2, "wlan0", 1000, 0));
        String blank = file("blank", "\n");
        String udp4 = file("udp", UDP_HEADER + udp(0, 1000));
        String[] accounting = {good, blank, dir.resolve("absent").toString()};
        for (int i = 0; i < 10; i++) {
            readFixtures(good, udp4, udp4, 1000, 2);  // warm up
        }
        int before = openDescriptors();
        for (int i = 0; i < 600; i++) {
            readFixtures(accounting[i % 3], udp4, i % 2 == 0 ? udp4 : blank, 1000, i % 3);
            ZvQestaJniAdapter.nativeReadUdpNetworkStatsDetail(i % 2 == 0 ? -1 : 1000, 2);
            adapter.nativeGetCurrTotalTraffic();
        }
        assertEquals(before, openDescriptors());
    }
}
