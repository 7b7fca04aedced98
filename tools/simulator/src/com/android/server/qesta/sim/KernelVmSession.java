package com.android.server.qesta.sim;

import com.android.server.qesta.ZvQestaJniAdapter;
import com.android.server.qesta.testing.PlatformStandIns;

import java.io.PrintStream;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.locks.LockSupport;

/**
 * The library's stall session against the real module, as the service runs
 * it: START and STOP through the adapter, callbacks as they arrive, and the
 * module's reports awaited one by one through its debugfs count.
 */
final class KernelVmSession {
    // The module's time is compressed to this many ms a report: a 60-report call trace replays in 30 s, and
    // the replay (a JVM still interpreting at first, under qemu's emulation) acts well within each interval.
    // A short video's report keeps its real second: a swipe opens a new HTTP connection within it.
    static final int COMPRESSED_MS = 500;
    static final int SHORT_VIDEO_MS = 1000;
    private static final int START = 24;
    private static final int STOP = 25;
    // A report is awaited for at most this many compressed intervals, plus the slack below.
    private static final int REPORT_WAIT_INTERVALS = 20;
    static final long WAIT_MS = 10_000;
    private static final long POLL_NS = 1_000_000;
    // Under qemu's emulation the library's worker may take tens of ms to log a report after the module sent it.
    // A fifth of a compressed interval, so that a callback that follows the report's last line still counts.
    private static final int QUIET_PART = 5;

    private final ZvQestaJniAdapter mAdapter = new ZvQestaJniAdapter();
    private final List<StallSession.Callback> mCallbacks = new ArrayList<>();
    private final PrintStream mOut;
    private final boolean mVerbose;
    private final int mScene;
    private final boolean mFrames;
    private KernelVm.Session mStart;
    private long mPrintedCallbacks;

    KernelVmSession(PrintStream out, boolean verbose, int scene, boolean frames) {
        mOut = out;
        mVerbose = verbose;
        mScene = scene;
        mFrames = frames;
    }

    /** How the module's time ran, for the report. */
    static String pace(int scene) {
        int divisor = divisor(scene);
        return divisor == 1 ? "Report intervals ran in real time." : "Report intervals after the first ran "
                + divisor + " times faster than real time (the module's time_divisor); the trace's clock is shown.";
    }

    static int divisor(int scene) {
        return Math.max(1, StallReplay.reportInterval(scene) / compressedMs(scene));
    }

    private static int compressedMs(int scene) {
        return StallReplay.isShortVideo(scene) ? SHORT_VIDEO_MS : COMPRESSED_MS;
    }

    /** Each call of a report's round once before START: the first run of the code is the slowest. */
    void warmUp() {
        KernelVm.session(StallReplay.UID);
        mAdapter.nativeGetCurrTotalTraffic();
        Verdict.of(mScene, List.of());
    }

    void start() throws InterruptedException {
        LibraryLog.take();
        ZvQestaJniAdapter.setStallListener(this::onStall);
        if (mFrames) {
            mAdapter.nativeStartFrameDetect(mScene);
            PlatformStandIns.veltroWaitRegistrations(1, (int) WAIT_MS);
        }
        int algo = StallReplay.isShortVideo(mScene) ? StallReplay.SHORT_VIDEO_ALGO : 0;
        int started = mAdapter.nativeSendQoeStallDetectCmd(START, StallReplay.UID, mScene, algo, 0);
        mOut.println(" nativeSendQoeStallDetectCmd(" + START + ", " + StallReplay.UID + ", " + mScene + ", " + algo
                + ", 0) = " + started);
        // The library's worker sends START after the call returns: the session shows up a little later.
        long deadline = System.currentTimeMillis() + WAIT_MS;
        mStart = null;
        while (started == 0 && (mStart = KernelVm.session(StallReplay.UID)) == null
                && System.currentTimeMillis() < deadline) {
            LockSupport.parkNanos(POLL_NS);
        }
        if (mStart == null) {
            throw new IllegalStateException("the library did not start a stall session in the module for scene "
                    + mScene);
        }
        int reportMs = StallReplay.reportInterval(mScene);
        mOut.println("   module: session of uid " + StallReplay.UID + ", class " + mStart.detectClass()
                + ", a report every " + mStart.intervalMs() + " ms (divided by " + divisor(mScene) + " here)");
        if (mStart.intervalMs() != reportMs) {
            throw new IllegalStateException("the module reports every " + mStart.intervalMs() + " ms in scene "
                    + mScene + ", not the " + reportMs + " ms its detector uses");
        }
        // No wait for the start-up lines here: the first row must go out at once. They join the first report's.
    }

    /**
     * Compresses the module's time from the next report on. The first
     * interval runs in real time: the first row, which meets the coldest code
     * (a JVM still interpreting, helpers' first sends), must fit in it.
     */
    void compress() {
        KernelVm.setDivisor(Integer.toString(divisor(mScene)));
    }

    /** The frame-detection results due before the next report, each delivered once the listener has it. */
    void deliver(List<Integer> frames) {
        frames.forEach(PlatformStandIns::veltroNotify);
    }

    /** Whether the module has already sent report {@code index} (from 1): then what was sent may have missed it. */
    boolean sent(long index) {
        KernelVm.Session now = KernelVm.session(StallReplay.UID);
        return now != null && now.reports() >= mStart.reports() + index;
    }

    /** Until the module has sent report {@code index} (from 1); its figures. */
    KernelVm.Session awaitReport(long index) {
        long wanted = mStart.reports() + index;
        long deadline = System.nanoTime() + (REPORT_WAIT_INTERVALS * (long) compressedMs(mScene) + WAIT_MS) * 1_000_000L;
        while (true) {
            KernelVm.Session session = KernelVm.session(StallReplay.UID);
            if (session == null) {
                throw new IllegalStateException("the module's session ended before report " + index);
            }
            if (session.reports() >= wanted) {
                if (session.reports() > wanted) {
                    throw new IllegalStateException("the module sent report " + (session.reports() - mStart.reports())
                            + " before report " + index + " was read: the replay fell behind the module's clock");
                }
                return session;
            }
            if (System.nanoTime() > deadline) {
                throw new IllegalStateException("the module sent no report " + index);
            }
            LockSupport.parkNanos(POLL_NS);
        }
    }

    /** The library's totals reach the module's: its worker has taken the report in. */
    List<String> awaitTotals(long in, long out) {
        long deadline = System.currentTimeMillis() + WAIT_MS;
        while (true) {
            long[] totals = mAdapter.nativeGetCurrTotalTraffic();
            if (totals[0] == out && totals[1] == in) {
                return LibraryLog.take();
            }
            if (System.currentTimeMillis() > deadline) {
                throw new IllegalStateException("the library's totals [out " + totals[0] + ", in " + totals[1]
                        + "] did not reach the module's [out " + out + ", in " + in + "]");
            }
            LockSupport.parkNanos(POLL_NS);
        }
    }

    /** A report that moves no total is taken in once the library has logged nothing for a while. */
    List<String> awaitQuiet() throws InterruptedException {
        return LibraryLog.takeWhenQuiet(compressedMs(mScene) / QUIET_PART, WAIT_MS);
    }

    List<StallSession.Callback> takeCallbacks() {
        synchronized (mCallbacks) {
            List<StallSession.Callback> taken = List.copyOf(mCallbacks);
            mCallbacks.clear();
            return taken;
        }
    }

    /** STOP as the service sends it; the module's session must end. */
    void stop(StallSession session) throws InterruptedException {
        long[] totals = mAdapter.nativeGetCurrTotalTraffic();
        mOut.println(" nativeGetCurrTotalTraffic() = [out " + totals[0] + ", in " + totals[1] + "]");
        mOut.println(" nativeSendQoeStallDetectCmd(" + STOP + ", ...) = "
                + mAdapter.nativeSendQoeStallDetectCmd(STOP, StallReplay.UID, mScene, 0, 0));
        long deadline = System.currentTimeMillis() + WAIT_MS;
        while (KernelVm.session(StallReplay.UID) != null && System.currentTimeMillis() < deadline) {
            Thread.sleep(5);
        }
        boolean ended = KernelVm.session(StallReplay.UID) == null;
        mOut.println("   module: session " + (ended ? "ended" : "still open"));
        session.notes.add("Totals the library kept: " + totals[1] + " bytes in, " + totals[0] + " bytes out; the "
                + "module's session " + (ended ? "ended" : "was still open") + " after STOP.");
        if (mFrames) {
            mAdapter.nativeStopFrameDetect();
        }
        ZvQestaJniAdapter.setStallListener(null);
        LibraryLog.take();
        session.close();
    }

    boolean printing(long index) {
        return mVerbose || index < StallReplay.PRINTED;
    }

    private void onStall(int value, int scene, int kind, boolean flag) {
        StallSession.Callback call = new StallSession.Callback(value, scene, kind, flag);
        if (mVerbose || mPrintedCallbacks++ < StallReplay.PRINTED) {
            mOut.println("      <- " + call + "  " + (kind == 1 ? "frame detection result passed on" : "stall"));
        }
        synchronized (mCallbacks) {
            mCallbacks.add(call);
        }
    }
}
