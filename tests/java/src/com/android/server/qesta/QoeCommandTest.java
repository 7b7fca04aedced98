package com.android.server.qesta;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.android.server.qesta.testing.KernelEmulator;
import com.android.server.qesta.testing.LogCapture;

import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Map;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** nativeSendQoeCmd against the emulated monitor channel. */
class QoeCommandTest {
    private static final int[] WORDS = {100, 101, 102, 103, 104, 105, 106, 107, 108, -16};
    // Java code -> {monitor code, whether the argument travels, whether a reply comes back}.
    private static final Map<Integer, int[]> TABLE = Map.of(
            10, new int[] {0, 0, 0}, 11, new int[] {3, 0, 0}, 15, new int[] {1, 0, 1},
            17, new int[] {5, 1, 0}, 18, new int[] {6, 1, 0}, 19, new int[] {7, 1, 1},
            23, new int[] {8, 1, 1});

    private final ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();

    @BeforeAll
    static void captureLogs() {
        LogCapture.install();
    }

    @BeforeEach
    void resetKernel() {
        KernelEmulator.reset();
        KernelEmulator.setMonitorReply(true, WORDS);
        LogCapture.clear();
    }

    @Test
    void everyCommandCodeSendsItsMessageAndOnlyQueriesAnswerW1ToW9ThenW0() {
        int[] words = {101, 102, 103, 104, 105, 106, 107, 108, -16, 100};
        for (int code = -1; code <= 30; code++) {
            int before = KernelEmulator.sent(KernelEmulator.MONITOR).length;
            int[] reply = adapter.nativeSendQoeCmd(code, 70000);
            byte[][] sent = KernelEmulator.sent(KernelEmulator.MONITOR);
            int[] row = TABLE.get(code);
            String where = "code " + code;
            assertEquals(0, KernelEmulator.openSockets(KernelEmulator.MONITOR), where);
            if (row == null) {
                assertEquals(before, sent.length, where);
                assertNull(reply, where);
                continue;
            }
            assertEquals(before + 1, sent.length, where);
            ByteBuffer message = ByteBuffer.wrap(sent[sent.length - 1]).order(ByteOrder.LITTLE_ENDIAN);
            assertEquals(16, message.capacity(), where);
            assertEquals(16, message.getInt(0), where);
            assertEquals(row[0], message.getShort(4), where);
            assertEquals(row[1] == 1 ? 4464 : 0, message.getShort(6) & 0xFFFF, where);
            assertEquals(row[0] == 8 ? 70000 : 0, message.getInt(8), where);
            assertEquals(ProcessHandle.current().pid(), message.getInt(12), where);
            assertArrayEquals(row[2] == 1 ? words : null, reply, where);
        }
        assertTrue(LogCapture.contains(4, "ZvQoEJNI", "######### CMD_START_MONITOR ########\n"));
        assertTrue(LogCapture.contains(4, "ZvQoEJNI", "######### CMD_STOP_MONITOR ########\n"));
    }
}
