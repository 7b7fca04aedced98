package com.android.server.qesta;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.android.server.qesta.testing.GenlKernel;
import com.android.server.qesta.testing.KernelEmulator;
import com.android.server.qesta.testing.LogCapture;
import com.android.server.qesta.testing.PlatformStandIns;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.atomic.AtomicReference;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/**
 * Stall sessions through the registered native, as only a VM shows them: the
 * static callback called on the library's worker thread with its four
 * arguments, the adapter reference, the totals array, frame results from the
 * service's thread, and a callback that throws. The reporting rules and the
 * status machine are covered in C++ (StallRuleTest, StallEmulatorTest).
 */
class StallSessionTest {
    private static final int START = 24;
    private static final int STOP = 25;
    private static final int STOP_ALGO = 26;
    private static final long WAIT_MS = 5000;
    private static final int UID = 10086;
    private static final int INFO = 4;
    private static final String TAG = "ZvQoEJNI";
    // The short-video defaults packed one per nibble: m1s 3, mR1s 4, m2s 2, mR2s 3, then 1s.
    private static final int AWEME_DEFAULTS = 0x11113243;

    private record Callback(int value, int scene, int kind, boolean flag) {}

    /** The callbacks the Java side receives, and the thread they came on. */
    private static final class Recorder implements ZvQestaJniAdapter.StallListener {
        final List<Callback> callbacks = new ArrayList<>();
        Thread worker;

        @Override
        public synchronized void onStall(int value, int scene, int kind, boolean flag) {
            callbacks.add(new Callback(value, scene, kind, flag));
            worker = Thread.currentThread();
            notifyAll();
        }

        synchronized boolean await(int count) throws InterruptedException {
            long deadline = System.currentTimeMillis() + WAIT_MS;
            for (long left = WAIT_MS; callbacks.size() < count && left > 0; left = deadline - System.currentTimeMillis()) {
                wait(left);
            }
            return callbacks.size() >= count;
        }
    }

    private final ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();
    private final Recorder recorder = new Recorder();
    private long mIn;
    private long mOut;

    /** Starts a session once the last one has ended, and waits until the kernel got START. */
    private int start(int scene, int algo) throws InterruptedException {
        long deadline = System.currentTimeMillis() + WAIT_MS;
        int result;
        while ((result = adapter.nativeSendQoeStallDetectCmd(START, UID, scene, algo, 0)) != 0
                && System.currentTimeMillis() < deadline) {
            Thread.sleep(2);
        }
        assertTrue(GenlKernel.waitForCommand(GenlKernel.CMD_START, 1, WAIT_MS));
        return result;
    }

    private void push(int inPkts, int inBytes, int outBytes) {
        mIn += inBytes;
        mOut += outBytes;
        assertTrue(GenlKernel.pushThroughputReport(UID, inPkts, inPkts / 2, inBytes, outBytes));
    }

    /** Pushes one report with traffic and waits until the worker took it in: its totals moved on. */
    private void pushAndWait(int inPkts, int inBytes, int outBytes) throws InterruptedException {
        push(inPkts, inBytes, outBytes);
        long deadline = System.currentTimeMillis() + WAIT_MS;
        while (!Arrays.equals(new long[] {mOut, mIn}, adapter.nativeGetCurrTotalTraffic())) {
            assertTrue(System.currentTimeMillis() < deadline, "the worker did not take the report in");
            Thread.sleep(1);
        }
    }

    @BeforeAll
    static void frameListener() {
        LogCapture.install();
        PlatformStandIns.veltroReset();
        new ZvQestaJniAdapter().nativeStartFrameDetect(100106);
        assertTrue(PlatformStandIns.veltroWaitRegistrations(1, (int) WAIT_MS));
    }

    @BeforeEach
    void reset() {
        KernelEmulator.reset();
        LogCapture.clear();
        ZvQestaJniAdapter.setStallListener(recorder);
    }

    @AfterEach
    void endSession() throws InterruptedException {
        adapter.nativeSendQoeStallDetectCmd(STOP, UID, 0, 0, 0);
        // A worker blocked in its receive sees the stop with one more report.
        long deadline = System.currentTimeMillis() + WAIT_MS;
        while (KernelEmulator.openSockets(KernelEmulator.GENERIC) > 0 && System.currentTimeMillis() < deadline) {
            GenlKernel.pushThroughputReport(UID, 1, 1, 1, 1);
            Thread.sleep(2);
        }
        assertEquals(0, KernelEmulator.openSockets(KernelEmulator.GENERIC));
        ZvQestaJniAdapter.setStallListener(null);
        Thread.setDefaultUncaughtExceptionHandler(null);
    }

    @Test
    void videoCallReportsFrameResultsAndSilenceToJavaAndKeepsTheTotals() throws Exception {
        assertEquals(0, start(100106, 0));
        // 2000 ms reports (N = 3): a stall passes the service's latest result on.
        PlatformStandIns.veltroNotify(9);
        pushAndWait(50, 5000, 1000);
        for (int i = 0; i < 3; i++) {
            push(0, 0, 0);  // the third silent pass reports
        }
        assertTrue(recorder.await(2));
        assertEquals(List.of(new Callback(9, 100106, 1, false), new Callback(1, 100106, 0, false)),
                recorder.callbacks);
        assertNotEquals(Thread.currentThread(), recorder.worker, "the callback runs on the library's own thread");
        assertArrayEquals(new long[] {1000, 5000}, adapter.nativeGetCurrTotalTraffic());
    }

    @Test
    void shortVideoStallArrivesWithItsFlagSet() throws Exception {
        assertEquals(0, start(100501, AWEME_DEFAULTS));
        for (int state : new int[] {1, 2, 2, 2}) {  // a new request, then three seconds with nothing loaded
            GenlKernel.pushAwemeReport(UID, 0, 0, 1, state, 0, 1_000_000, 0, 0, 1, 10, "v0");
        }
        assertTrue(recorder.await(1));
        assertEquals(new Callback(0, 100501, 0, true), recorder.callbacks.get(0));
    }

    @Test
    void commandsOtherThanAStartFailWithoutASession() {
        assertEquals(-1, adapter.nativeSendQoeStallDetectCmd(STOP, UID, 100105, 0, 0));
        assertEquals(-1, adapter.nativeSendQoeStallDetectCmd(STOP_ALGO, UID, 100105, 0, 0));
        assertEquals(-1, adapter.nativeSendQoeStallDetectCmd(27, UID, 100105, 0, 0));
        assertEquals(0, KernelEmulator.socketsOpened(KernelEmulator.GENERIC));
    }

    @Test
    void throwingCallbackIsLoggedClearedAndTheSessionGoesOn() throws Exception {
        AtomicReference<Throwable> escaped = new AtomicReference<>();
        Thread.setDefaultUncaughtExceptionHandler((thread, error) -> escaped.set(error));
        ZvQestaJniAdapter.setStallListener((value, scene, kind, flag) -> {
            recorder.onStall(value, scene, kind, flag);
            throw new IllegalStateException("listener failed");
        });
        assertEquals(0, start(100105, 0));
        for (int i = 0; i < 7; i++) {
            push(0, 0, 0);
        }
        assertTrue(recorder.await(3));  // passes 5-7
        // The native side logs each throw after the callback has returned.
        assertTrue(LogCapture.awaitCount(INFO, TAG,
                "handleReportStallInfo threw java.lang.IllegalStateException: listener failed", 3, WAIT_MS),
                LogCapture::dump);
        assertEquals(0, adapter.nativeSendQoeStallDetectCmd(STOP, UID, 100105, 0, 0));
        push(40, 4000, 800);
        recorder.worker.join(WAIT_MS);  // the worker detaches with nothing pending
        assertFalse(recorder.worker.isAlive());
        assertNull(escaped.get());
    }
}
