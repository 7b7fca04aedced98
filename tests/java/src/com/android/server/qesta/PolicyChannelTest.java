package com.android.server.qesta;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.android.server.qesta.testing.KernelEmulator;
import com.android.server.qesta.testing.LogCapture;
import com.android.server.qesta.testing.PlatformStandIns;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.function.IntSupplier;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** The socket policy natives against the emulated policy channel. */
class PolicyChannelTest {
    private static final int POLICY = KernelEmulator.POLICY;
    private static final String TAG = "ZvQoEJNI";

    private final ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();

    @BeforeAll
    static void captureLogs() {
        LogCapture.install();
    }

    /** Leaves the library's policy channel closed: a failed send always drops it. */
    @BeforeEach
    void closedChannel() {
        dropChannel();
        KernelEmulator.reset();
        PlatformStandIns.netdReset();
        LogCapture.clear();
    }

    private void dropChannel() {
        KernelEmulator.failSends(POLICY, 1, 105 /* ENOBUFS */);
        adapter.nativeResetProcessSockets(0);
    }

    private static ByteBuffer lastMessage() {
        byte[][] sent = KernelEmulator.sent(POLICY);
        return ByteBuffer.wrap(sent[sent.length - 1]).order(ByteOrder.LITTLE_ENDIAN);
    }

    private static int[] types() {
        byte[][] sent = KernelEmulator.sent(POLICY);
        int[] types = new int[sent.length];
        for (int i = 0; i < sent.length; i++) {
            types[i] = ByteBuffer.wrap(sent[i]).order(ByteOrder.LITTLE_ENDIAN).getShort(4);
        }
        return types;
    }

    @Test
    void dpiRuleIsRegisteredEnabledAndSentByteForByte() {
        assertEquals(0, adapter.nativeSetDpiMarkRule(0x0A0B0C0D, 0x1FF, 1));
        assertArrayEquals(new int[] {0, 5, 3}, types());
        byte[][] sent = KernelEmulator.sent(POLICY);
        assertEquals(21, sent[0].length);
        assertEquals(21, sent[1].length);
        byte[] expected = new byte[45];
        ByteBuffer.wrap(expected).order(ByteOrder.LITTLE_ENDIAN)
                .putInt(0, 45).putShort(4, (short) 3).putInt(12, (int) ProcessHandle.current().pid())
                .putInt(20, 0x0A0B0C0D).putInt(32, 1).put(36, (byte) 0xFF).putInt(40, 90);
        assertArrayEquals(expected, sent[2]);
        assertTrue(LogCapture.contains(4, TAG, "Set DPI Mark rule OK!\n"), LogCapture.dump());

        assertEquals(0, adapter.nativeSetDpiMarkRule(1, 1, 0));
        assertArrayEquals(new int[] {0, 5, 3, 4}, types());
        assertTrue(LogCapture.contains(4, TAG, "Disable DPI\n"));
        assertEquals(1, KernelEmulator.socketsOpened(POLICY));
    }

    @Test
    void socketRecordsCarryTheirFieldsInPlace() {
        assertEquals(0, adapter.nativeResetProcessSockets(10123));
        assertRecord(8, 10123, 0, 0);
        assertEquals(0, adapter.nativeCloseProcessSockets(4321, 10123));
        assertRecord(9, 10123, 0, 4321);
        assertEquals(0, adapter.nativeBindUidProcessToNetwork(100, 10123));
        assertRecord(6, 10123, 100, 0);
        assertEquals(0, adapter.nativeBindUidProcessToNetwork(0, 10123));
        assertRecord(7, 10123, 0, 0);
        assertEquals(2, PlatformStandIns.netdCallCount());
        for (String line : new String[] {"mplk resetSK OK of 10123\n", "mplk closeSK OK of 10123\n",
                "mplk bindNW 10123 to 100 OK\n", "mplk bindNW 10123 to 0 OK\n"}) {
            assertTrue(LogCapture.contains(4, TAG, line), line);
        }
    }

    private static void assertRecord(int type, int word0, int word1, int word2) {
        ByteBuffer message = lastMessage();
        assertEquals(45, message.capacity());
        assertEquals(45, message.getInt(0));
        assertEquals(type, message.getShort(4));
        assertEquals(0, message.getInt(16));
        int[] words = new int[6];
        for (int i = 0; i < 6; i++) {
            words[i] = message.getInt(20 + 4 * i);
        }
        assertArrayEquals(new int[] {word0, word1, word2, 0, 0, 0}, words, "type " + type);
        assertEquals(0, message.get(44));
    }

    @Test
    void eachFailureGivesItsCodeAndLineAndTheNextCallRecovers() {
        Object[][] natives = {
            {(IntSupplier) () -> adapter.nativeResetProcessSockets(1000), 61443,
                "mplk resetSK init ntl FAIL\n", "mplk resetSK reg FAIL\n", "mplk resetSK FAIL of 1000\n"},
            {(IntSupplier) () -> adapter.nativeCloseProcessSockets(5, 1000), 61444,
                "mplk closeSK init ntl FAIL\n", "mplk closeSK reg FAIL\n", "mplk closeSK FAIL of 1000\n"},
            {(IntSupplier) () -> adapter.nativeBindUidProcessToNetwork(100, 1000), 61445,
                "mplk bindNW init ntl FAIL\n", "mplk bindNW reg FAIL\n", "mplk bindNW FAIL of 1000\n"},
            {(IntSupplier) () -> adapter.nativeBindUidProcessToNetwork(0, 1000), 61446,
                "mplk bindNW init ntl FAIL\n", "mplk bindNW reg FAIL\n", "mplk unbindNW FAIL of 1000\n"},
        };
        for (Object[] n : natives) {
            IntSupplier call = (IntSupplier) n[0];
            String where = (String) n[4];
            dropChannel();
            KernelEmulator.failNextSocket(POLICY, 24 /* EMFILE */);
            assertEquals(61441, call.getAsInt(), where);
            KernelEmulator.failSends(POLICY, 1, 111 /* ECONNREFUSED */);
            assertEquals(61442, call.getAsInt(), where);
            assertEquals(0, KernelEmulator.openSockets(POLICY), where);
            assertEquals(0, call.getAsInt(), where);
            KernelEmulator.failSends(POLICY, 1, 105);
            assertEquals((int) n[1], call.getAsInt(), where);
            assertEquals(0, KernelEmulator.openSockets(POLICY), where);
            int before = KernelEmulator.sent(POLICY).length;
            assertEquals(0, call.getAsInt(), where);
            assertEquals(0, ByteBuffer.wrap(KernelEmulator.sent(POLICY)[before])
                    .order(ByteOrder.LITTLE_ENDIAN).getShort(4), where);  // registered afresh
            for (int i = 2; i < 5; i++) {
                assertTrue(LogCapture.contains(6, TAG, (String) n[i]), LogCapture.dump());
            }
        }

        dropChannel();
        KernelEmulator.failNextSocket(POLICY, 24);
        assertEquals(-1, adapter.nativeSetDpiMarkRule(1, 2, 1));
        KernelEmulator.failSends(POLICY, 1, 111);
        assertEquals(-1, adapter.nativeSetDpiMarkRule(1, 2, 1));
        assertEquals(0, adapter.nativeSetDpiMarkRule(1, 2, 1));
        KernelEmulator.failSends(POLICY, 1, 105);
        assertEquals(-1, adapter.nativeSetDpiMarkRule(1, 2, 1));
        for (String line : new String[] {"Failed to initialize netlink socket\n", "Failed to register to kernel\n",
                "Failed to send msg to kernel\n"}) {
            assertTrue(LogCapture.contains(6, TAG, line), line);
        }
        assertEquals(0, KernelEmulator.openSockets(POLICY));
    }

    @Test
    void dnsBindingFailureReturnsItsCauseAndSendsNothing() {
        PlatformStandIns.netdSetResult(22);
        assertEquals(22, adapter.nativeBindUidProcessToNetwork(100, 10123));
        assertTrue(LogCapture.contains(6, TAG, "mplk bindNW for DNS 10123 to 100 FAIL for cause 22\n"));
        assertEquals(100, PlatformStandIns.netdLastNetId());
        assertEquals(10123, PlatformStandIns.netdLastUid());
        assertEquals(0, KernelEmulator.socketsOpened(POLICY));
    }

    @Test
    void socketStrategyOnlyLogs() {
        assertEquals(0, adapter.nativeHandleSocketStrategy(3, 10123));
        assertTrue(LogCapture.contains(4, TAG, "handleSocketStrategy uid of 10123 , strategy of 3 \n"));
        assertEquals(0, KernelEmulator.sent(POLICY).length);
    }
}
