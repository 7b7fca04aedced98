package com.android.server.qesta;

import static com.android.server.qesta.StallSessions.START;
import static com.android.server.qesta.StallSessions.STOP;
import static com.android.server.qesta.StallSessions.STOP_ALGO;
import static com.android.server.qesta.StallSessions.WAIT_MS;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.android.server.qesta.StallSessions.Callback;
import com.android.server.qesta.StallSessions.Recorder;
import com.android.server.qesta.StallSessions.Reports;
import com.android.server.qesta.testing.GenlKernel;
import com.android.server.qesta.testing.KernelEmulator;
import com.android.server.qesta.testing.LogCapture;
import com.android.server.qesta.testing.PlatformStandIns;

import java.util.List;
import java.util.concurrent.atomic.AtomicReference;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/**
 * Stall sessions end to end: the library's worker against the emulated
 * stall-detection module, with the callbacks the Java side receives.
 */
class StallSessionTest {
    private static final int UID = 10086;
    private static final int INFO = 4;
    private static final String TAG = "ZvQoEJNI";
    // The short-video defaults packed one per nibble: m1s 3, mR1s 4, m2s 2, mR2s 3, then 1s.
    private static final int AWEME_DEFAULTS = 0x11113243;
    private static final int VIDEO_TOTAL = 1_000_000;

    private final ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();
    private final Recorder recorder = new Recorder();
    private final Reports reports = new Reports(adapter, UID);

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
        GenlKernel.setSilent(false);
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

    private static Callback cb(int value, int scene, int kind, boolean flag) {
        return new Callback(value, scene, kind, flag);
    }

    // ---- one scripted session per scene ----

    @Test
    void voiceCallReportsSilenceFromTheFifthPassAndStallsOnTheGenericCount() throws Exception {
        assertEquals(0, StallSessions.start(adapter, UID, 100105, 0, 0));
        assertArrayEquals(new long[] {UID}, GenlKernel.sentAttr(GenlKernel.CMD_START, GenlKernel.ATTR_UID));
        assertArrayEquals(new long[] {1000}, GenlKernel.sentAttr(GenlKernel.CMD_START, GenlKernel.ATTR_INTERVAL));
        for (int i = 0; i < 6; i++) {
            reports.push(0, 0, 0);  // passes 5 and 6 report silence
        }
        // Inbound packets per second; the voice tree calls 7-10 and 13 stalls,
        // 11-12 (40 a second on the 4G tree) normal. The generic count (N = 5)
        // reached 4 during the first silent passes, so pass 7 reports, then pass 13.
        for (int packets : new int[] {40, 40, 40, 40, 40, 40, 10}) {
            reports.push(packets, 4000, 800);
        }
        assertTrue(StallSessions.endWithForeignReport(UID, false));
        assertEquals(List.of(cb(1, 100105, 0, false), cb(1, 100105, 0, false), cb(0, 100105, 0, false),
                cb(0, 100105, 0, false)), recorder.callbacks());
        assertArrayEquals(new long[] {5600, 28000}, adapter.nativeGetCurrTotalTraffic());
        assertTrue(LogCapture.contains(6, "Korun", "We get the other owner's report: " + (UID + 1)
                + ", our uid is " + UID), LogCapture.dump());
        assertTrue(LogCapture.contains(INFO, TAG, "StopMonitor enter"), LogCapture.dump());
    }

    @Test
    void videoCallPassesFrameResultsOnAfterTheHoldAndReportsSilence() throws Exception {
        assertEquals(0, StallSessions.start(adapter, UID, 100106, 0, 0));
        // 2000 ms reports (N = 3); 110 packets under 30000 bytes is normal, 130 heavy, 50 a stall.
        assertTrue(reports.pushAndWait(110, 20000, 1000));
        for (int i = 0; i < 7; i++) {
            PlatformStandIns.veltroNotify(7);
            assertTrue(reports.pushAndWait(130, 50000, 1000));  // held six times, passed on the seventh
        }
        PlatformStandIns.veltroNotify(9);
        assertTrue(reports.pushAndWait(50, 5000, 1000));
        assertTrue(reports.pushAndWait(50, 5000, 1000));  // nothing new from the service
        PlatformStandIns.veltroNotify(5);
        adapter.nativeStopFrameDetect();  // clears the pending result
        assertTrue(reports.pushAndWait(50, 5000, 1000));
        for (int i = 0; i < 4; i++) {
            reports.push(0, 0, 0);  // the third and fourth silent passes report
        }
        assertTrue(StallSessions.endWithForeignReport(UID, false));
        assertEquals(List.of(cb(7, 100106, 1, false), cb(9, 100106, 1, false), cb(1, 100106, 0, false),
                cb(1, 100106, 0, false)), recorder.callbacks());
        assertArrayEquals(new long[] {11000, 385000}, adapter.nativeGetCurrTotalTraffic());
        assertArrayEquals(new long[] {2000}, GenlKernel.sentAttr(GenlKernel.CMD_START, GenlKernel.ATTR_INTERVAL));
    }

    /** A new short-video request, then {@code steps} one-second reports with nothing loaded (3: a stall). */
    private static void pushRequest(int index, int steps) {
        pushReports(index, 1, 1);
        pushReports(index, 2, steps);
    }

    /** {@code count} reports of video {@code index} in detection state {@code state} (1 new request, 2 continuing). */
    private static void pushReports(int index, int state, int count) {
        long[][] entry = {{index, 0, VIDEO_TOTAL, 0, 0, 1, 10}};
        for (int i = 0; i < count; i++) {
            GenlKernel.pushAwemeReport(UID, index, index, index + 1, state, entry, new String[] {"v" + index});
        }
    }

    @Test
    void shortVideoReportsTheFirstActiveReportByFlagThenByTheGenericCount() throws Exception {
        assertEquals(0, StallSessions.start(adapter, UID, 100501, AWEME_DEFAULTS, 0));
        assertTrue(LogCapture.contains(INFO, "Korun", "Aweme para: m1s=3, mR1s=4, m2s=2, mR2s=3, m3s=1, mR3s=1, "
                + "m6s=1, mR6s=1, userType=0"), LogCapture.dump());
        pushRequest(0, 6);  // flag report, then the stall at generic count 3: not yet
        pushRequest(1, 3);  // count stays at N = 6: the stall reports
        assertTrue(StallSessions.endWithForeignReport(UID, true));
        assertEquals(List.of(cb(0, 100501, 0, true), cb(0, 100501, 0, false)), recorder.callbacks());
        assertArrayEquals(new long[] {2}, GenlKernel.sentAttr(GenlKernel.CMD_START, GenlKernel.ATTR_DETECT_CLASS));
    }

    @Test
    void pictureKeyShortVideoUsesOnlyTheGenericCount() throws Exception {
        assertEquals(0, StallSessions.start(adapter, UID, 100701, AWEME_DEFAULTS, 0));
        pushRequest(0, 5);
        pushRequest(1, 3);
        assertTrue(StallSessions.endWithForeignReport(UID, true));
        assertEquals(List.of(cb(0, 100701, 0, false)), recorder.callbacks());
        assertArrayEquals(new long[] {3}, GenlKernel.sentAttr(GenlKernel.CMD_START, GenlKernel.ATTR_DETECT_CLASS));
    }

    @Test
    void videoKeyShortVideoOfUserType2StopsEachStalledVideoInTheKernel() throws Exception {
        assertEquals(0, StallSessions.start(adapter, UID, 100901, AWEME_DEFAULTS, 2));
        // Each UPDATE is acknowledged before the next report is queued.
        pushRequest(0, 3);
        assertTrue(GenlKernel.waitForCommand(GenlKernel.CMD_UPDATE, 1, WAIT_MS));
        pushReports(0, 2, 2);  // stalled and stopped: no more steps
        pushRequest(1, 3);
        assertTrue(GenlKernel.waitForCommand(GenlKernel.CMD_UPDATE, 2, WAIT_MS));
        assertTrue(StallSessions.endWithForeignReport(UID, true));
        assertEquals(List.of(cb(0, 100901, 0, false)), recorder.callbacks(), LogCapture::dump);
        // A 3-second shortfall ends detection of the video for user type 2.
        assertArrayEquals(new long[] {0, 1}, GenlKernel.sentAttr(GenlKernel.CMD_UPDATE, GenlKernel.ATTR_DETECT_INDEX));
        assertArrayEquals(new long[] {0, 0}, GenlKernel.sentAttr(GenlKernel.CMD_UPDATE, GenlKernel.ATTR_DETECT_STATE));
    }

    // ---- the status machine ----

    @Test
    void stopWithoutStartAndStopAlgoWithoutSessionFail() {
        assertEquals(-1, adapter.nativeSendQoeStallDetectCmd(STOP, UID, 100105, 0, 0));
        assertEquals(-1, adapter.nativeSendQoeStallDetectCmd(STOP_ALGO, UID, 100105, 0, 0));
        assertEquals(-1, adapter.nativeSendQoeStallDetectCmd(27, UID, 100105, 0, 0));
        assertEquals(0, KernelEmulator.socketsOpened(KernelEmulator.GENERIC));
    }

    @Test
    void startStopStartWhileTheWorkerIsBlockedInItsReceive() throws Exception {
        assertEquals(0, StallSessions.start(adapter, UID, 100106, 0, 0));
        assertTrue(reports.pushAndWait(110, 20000, 1000));  // the worker waits for the next report
        assertEquals(0, adapter.nativeSendQoeStallDetectCmd(STOP, UID, 100106, 0, 0));
        assertEquals(-1, adapter.nativeSendQoeStallDetectCmd(START, UID, 100106, 0, 0));
        assertTrue(LogCapture.contains(INFO, TAG, "last monotor is not stopped,detectStatus = 2"), LogCapture.dump());
        assertEquals(0, GenlKernel.countSent(GenlKernel.CMD_STOP));
        reports.push(110, 20000, 1000);
        assertTrue(GenlKernel.waitForCommand(GenlKernel.CMD_STOP, 1, WAIT_MS));
        assertTrue(StallSessions.waitClosed());
        assertEquals(0, StallSessions.start(adapter, UID, 100106, 0, 0));
        assertEquals(2, GenlKernel.countSent(GenlKernel.CMD_START));
    }

    @Test
    void stopAlgoKeepsTheSessionButPausesTheDetector() throws Exception {
        assertEquals(0, StallSessions.start(adapter, UID, 100106, 0, 0));
        assertTrue(reports.pushAndWait(110, 20000, 1000));
        assertEquals(0, adapter.nativeSendQoeStallDetectCmd(STOP_ALGO, UID, 100106, 0, 0));
        assertEquals(-1, adapter.nativeSendQoeStallDetectCmd(STOP_ALGO, UID, 100106, 0, 0));
        // The worker is blocked in this pass already; the pause applies from the next one.
        reports.push(110, 20000, 1000);
        assertTrue(reports.pushAndWait(110, 20000, 1000));
        // Paused: stalls are no longer detected, a frame result is not passed on.
        for (int i = 0; i < 3; i++) {
            PlatformStandIns.veltroNotify(4);
            reports.push(50, 5000, 1000);
        }
        assertTrue(StallSessions.endWithForeignReport(UID, false));
        assertTrue(recorder.callbacks().isEmpty(), recorder.callbacks().toString());
        assertEquals(0, StallSessions.start(adapter, UID, 100106, 0, 0));
    }

    // ---- kernel faults (a foreign uid ends every scene above) and a throwing callback ----

    @Test
    void refusedStartEndsTheWorkerAndTheNextSessionStarts() throws Exception {
        GenlKernel.nackNext(-1, 1);
        assertEquals(0, StallSessions.start(adapter, UID, 100105, 0, 0));
        assertTrue(StallSessions.waitClosed());
        assertTrue(LogCapture.contains(INFO, TAG, "start collecting failed"), LogCapture.dump());
        assertTrue(LogCapture.contains(6, "Korun", "received the nack=-1"), LogCapture.dump());
        assertEquals(0, GenlKernel.countSent(GenlKernel.CMD_STOP));
        assertEquals(0, StallSessions.start(adapter, UID, 100105, 0, 0));
        for (int i = 0; i < 5; i++) {
            reports.push(0, 0, 0);
        }
        assertTrue(recorder.await(1, WAIT_MS));
    }

    @Test
    void silentKernelHoldsTheStopUntilSomethingArrives() throws Exception {
        assertEquals(0, StallSessions.start(adapter, UID, 100106, 0, 0));
        assertTrue(reports.pushAndWait(110, 20000, 1000));
        GenlKernel.setSilent(true);
        assertEquals(0, adapter.nativeSendQoeStallDetectCmd(STOP, UID, 100106, 0, 0));
        reports.push(110, 20000, 1000);
        assertTrue(GenlKernel.waitForCommand(GenlKernel.CMD_STOP, 1, WAIT_MS));
        // The STOP is never acknowledged: the worker waits in its acknowledgement read.
        Thread.sleep(50);
        assertEquals(1, KernelEmulator.openSockets(KernelEmulator.GENERIC));
        assertEquals(-1, adapter.nativeSendQoeStallDetectCmd(START, UID, 100106, 0, 0));
        // Whatever arrives next is not an acknowledgement; the worker gives up on it and ends.
        reports.push(110, 20000, 1000);
        assertTrue(StallSessions.waitClosed());
        assertTrue(LogCapture.contains(6, "Korun", "receive the invalid message type=27 when recv the ack"),
                LogCapture.dump());
        GenlKernel.setSilent(false);
        assertEquals(0, StallSessions.start(adapter, UID, 100106, 0, 0));
    }

    @Test
    void throwingCallbackIsLoggedClearedAndTheSessionGoesOn() throws Exception {
        AtomicReference<Throwable> escaped = new AtomicReference<>();
        AtomicReference<Thread> worker = new AtomicReference<>();
        Thread.setDefaultUncaughtExceptionHandler((thread, error) -> escaped.set(error));
        ZvQestaJniAdapter.setStallListener((value, scene, kind, flag) -> {
            worker.set(Thread.currentThread());
            recorder.onStall(value, scene, kind, flag);
            throw new IllegalStateException("listener failed");
        });
        assertEquals(0, StallSessions.start(adapter, UID, 100105, 0, 0));
        for (int i = 0; i < 7; i++) {
            reports.push(0, 0, 0);
        }
        assertTrue(recorder.await(1, WAIT_MS));
        assertTrue(reports.pushAndWait(40, 4000, 800));
        assertEquals(4, recorder.callbacks().size());  // passes 5-8
        assertEquals(4, LogCapture.count(INFO, TAG,
                "handleReportStallInfo threw java.lang.IllegalStateException: listener failed"), LogCapture::dump);
        assertEquals(0, adapter.nativeSendQoeStallDetectCmd(STOP, UID, 100105, 0, 0));
        reports.push(40, 4000, 800);
        assertTrue(StallSessions.waitClosed());
        worker.get().join(WAIT_MS);  // the worker detaches with nothing pending
        assertFalse(worker.get().isAlive());
        assertEquals(null, escaped.get());
    }
}
