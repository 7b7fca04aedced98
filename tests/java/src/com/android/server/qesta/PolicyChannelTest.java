package com.android.server.qesta;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.android.server.qesta.testing.KernelEmulator;
import com.android.server.qesta.testing.LogCapture;
import com.android.server.qesta.testing.PlatformStandIns;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;

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

    /** A message header of {@code length} bytes, the rest zero; {@code words} from offset 20 on. */
    private static byte[] message(int length, int type, int... words) {
        ByteBuffer buffer = ByteBuffer.allocate(length).order(ByteOrder.LITTLE_ENDIAN)
                .putInt(0, length).putShort(4, (short) type).putInt(12, (int) ProcessHandle.current().pid());
        for (int i = 0; i < words.length; i++) {
            buffer.putInt(20 + 4 * i, words[i]);
        }
        return buffer.array();
    }

    private static byte[] last() {
        byte[][] sent = KernelEmulator.sent(POLICY);
        return sent[sent.length - 1];
    }

    @Test
    void dpiRuleIsRegisteredEnabledAndSentByteForByte() {
        assertEquals(0, adapter.nativeSetDpiMarkRule(0x0A0B0C0D, 0x1FF, 1));
        byte[][] sent = KernelEmulator.sent(POLICY);
        assertEquals(3, sent.length);
        assertArrayEquals(message(21, 0), sent[0]);
        assertArrayEquals(message(21, 5), sent[1]);
        byte[] rule = message(45, 3, 0x0A0B0C0D, 0, 0, 1, 0xFF, 90);
        assertArrayEquals(rule, sent[2]);
        assertTrue(LogCapture.contains(4, TAG, "Set DPI Mark rule OK!\n"), LogCapture.dump());

        assertEquals(0, adapter.nativeSetDpiMarkRule(1, 1, 0));
        assertArrayEquals(message(21, 4), last());
        assertTrue(LogCapture.contains(4, TAG, "Disable DPI\n"));
        assertEquals(1, KernelEmulator.socketsOpened(POLICY));
    }

    @Test
    void socketRecordsCarryTheirFieldsInPlace() {
        assertEquals(0, adapter.nativeResetProcessSockets(10123));
        assertArrayEquals(message(45, 8, 10123, 0, 0), last());
        assertEquals(0, adapter.nativeCloseProcessSockets(4321, 10123));
        assertArrayEquals(message(45, 9, 10123, 0, 4321), last());
        assertEquals(0, adapter.nativeBindUidProcessToNetwork(100, 10123));
        assertArrayEquals(message(45, 6, 10123, 100, 0), last());
        assertEquals(0, adapter.nativeBindUidProcessToNetwork(0, 10123));
        assertArrayEquals(message(45, 7, 10123, 0, 0), last());
        assertEquals(2, PlatformStandIns.netdCalls()[0]);
        for (String line : new String[] {"mplk resetSK OK of 10123\n", "mplk closeSK OK of 10123\n",
                "mplk bindNW 10123 to 100 OK\n", "mplk bindNW 10123 to 0 OK\n"}) {
            assertTrue(LogCapture.contains(4, TAG, line), line);
        }
    }

    @Test
    void dnsBindingFailureReturnsItsCauseAndStrategyOnlyLogs() {
        PlatformStandIns.netdSetResult(22);
        assertEquals(22, adapter.nativeBindUidProcessToNetwork(100, 10123));
        assertTrue(LogCapture.contains(6, TAG, "mplk bindNW for DNS 10123 to 100 FAIL for cause 22\n"));
        assertArrayEquals(new int[] {1, 100, 10123}, PlatformStandIns.netdCalls());
        assertEquals(0, adapter.nativeHandleSocketStrategy(3, 10123));
        assertTrue(LogCapture.contains(4, TAG, "handleSocketStrategy uid of 10123 , strategy of 3 \n"));
        assertEquals(0, KernelEmulator.socketsOpened(POLICY));
    }
}
