package com.android.server.qesta;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.android.server.qesta.testing.LogCapture;
import com.android.server.qesta.testing.PlatformStandIns;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/** The frame-detection natives against the stand-in service; one listener per process. */
class FrameDetectTest {
    private static final String TAG = "ZvQoEJNI";
    private static final int INFO = 4;

    private final ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();

    @BeforeAll
    static void registerOnce() {
        LogCapture.install();
        PlatformStandIns.veltroReset();
        assertEquals(1, new ZvQestaJniAdapter().nativeStartFrameDetect(100106));
        assertTrue(PlatformStandIns.veltroWaitRegistrations(1, 5000), "listener never registered");
    }

    @BeforeEach
    void clearLog() {
        LogCapture.clear();
    }

    @Test
    void furtherStartsReuseTheListenerAndStopKeepsIt() throws Exception {
        int[] before = PlatformStandIns.veltroCalls();
        assertEquals(1, adapter.nativeStartFrameDetect(100105));
        assertEquals(1, adapter.nativeStartFrameDetect(100106));
        assertTrue(LogCapture.contains(INFO, TAG, "startFrameDetect enter, appScene = 100105"), LogCapture.dump());
        assertEquals(2, LogCapture.count(INFO, TAG, "veltro has registerListener!!!!!"));
        assertEquals(1, adapter.nativeStopFrameDetect());
        // {registrations, starts, stops, the type passed on}: the scene is not passed on.
        int[] after = PlatformStandIns.veltroCalls();
        assertArrayEquals(new int[] {before[0], before[1] + 2, before[2] + 1, 0}, after);
        PlatformStandIns.veltroNotify(5);
        assertTrue(LogCapture.contains(3, TAG, "orsin notify back result=5"), LogCapture.dump());
        // A stray second registration thread would have run by now.
        Thread.sleep(100);
        assertEquals(1, PlatformStandIns.veltroCalls()[0]);
    }

    @Test
    void detectedTimeIsReportedInUnitsOfSixtyRoundedTowardZero() {
        // {detected time, result, the value logged: its low 32 bits}
        long[][] cases = {{119, 1, 119}, {-119, -1, -119}, {59, 0, 59}, {120, 2, 120},
            {0x1_0000_0078L, 0x1_0000_0078L / 60, 120}};
        for (long[] c : cases) {
            PlatformStandIns.veltroSetDetectedTime(c[0]);
            assertEquals(c[1], adapter.nativeGetCurFrameDetectResult(), "detected time " + c[0]);
            assertTrue(LogCapture.contains(INFO, TAG, "getCurFrameDetectResult: result= " + c[2]), LogCapture.dump());
        }
    }
}
