package com.android.server.qesta.sim;

import com.android.server.qesta.ZvQestaJniAdapter;
import com.android.server.qesta.testing.GenlKernel;
import com.android.server.qesta.testing.KernelEmulator;
import com.android.server.qesta.testing.PlatformStandIns;

import java.io.PrintStream;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.concurrent.locks.LockSupport;

/**
 * One stall session of the library, fed report by report by the emulated
 * stall module: callbacks are printed as they arrive, and each report goes
 * to the session's record with the detector's verdict and the callbacks it
 * caused. Nothing of a report is kept here once the next one is fed.
 */
final class StallReplay {
    static final int UID = 10123;
    static final int VOICE_CALL = 100105;
    static final int VIDEO_CALL = 100106;
    static final int SHORT_VIDEO_FLAG_SCENE = 100501;  // reports on the detector's first-report flag
    static final Set<Integer> SHORT_VIDEO = Set.of(100501, 100701, 100901);
    // The session's thresholds, annotated on the timeline: the silence it
    // tolerates per scene and the heavy frame results it holds back.
    static final int VOICE_SPAN_MS = 5000;
    static final int CALL_SPAN_MS = 6000;
    static final int FRAME_HOLD = 6;
    static final int VIDEO_REPORT_MS = 2000;  // the video-call detector's window is one 2 s report
    static final int OTHER_REPORT_MS = 1000;
    // Reports and callbacks printed on the terminal before it falls quiet (all of them with --verbose).
    static final int PRINTED = 40;

    private static final int START = 24;
    private static final int STOP = 25;
    // Short-video detector settings, one per nibble from the lowest: m1s 3,
    // mR1s 4, m2s 2, mR2s 3, m3s, mR3s, m6s, mR6s 1 (the detector's defaults).
    static final int SHORT_VIDEO_ALGO = 0x11113243;
    private static final long WAIT_MS = 5000;
    // A report that moves no byte total leaves nothing to wait on: it counts as
    // taken in once the library has logged nothing more for this long.
    private static final long QUIET_MS = 20;
    // Polling the totals: spin this long before parking between polls.
    private static final long SPIN_NS = 200_000;
    private static final long PARK_NS = 50_000;

    private final ZvQestaJniAdapter mAdapter = new ZvQestaJniAdapter();
    private final PrintStream mOut;
    private final boolean mFrames;
    private final boolean mVerbose;
    private final List<StallSession.Callback> mCallbacks = new ArrayList<>();
    private final StallSession mSession;
    private long mInTotal;
    private long mOutTotal;
    private long mPrintedCallbacks;

    /** The report interval the scene's detector asks the module for. */
    static int reportInterval(int scene) {
        return scene == VIDEO_CALL ? VIDEO_REPORT_MS : OTHER_REPORT_MS;
    }

    static boolean isShortVideo(int scene) {
        return SHORT_VIDEO.contains(scene);
    }

    static boolean isKnownScene(int scene) {
        return scene == VOICE_CALL || scene == VIDEO_CALL || isShortVideo(scene);
    }

    /**
     * Starts a session of {@code scene}; {@code frames} also starts the
     * frame-detection service. Its CSV files go beside the report as
     * {@code name}.csv and {@code name}-episodes.csv.
     */
    StallReplay(String title, int scene, boolean frames, PrintStream out, boolean verbose, Report report,
            String name) throws InterruptedException {
        mOut = out;
        mFrames = frames;
        mVerbose = verbose;
        KernelEmulator.reset();
        LibraryLog.take();
        ZvQestaJniAdapter.setStallListener(this::onStall);
        if (frames) {
            mAdapter.nativeStartFrameDetect(scene);
            PlatformStandIns.veltroWaitRegistrations(1, (int) WAIT_MS);
        }
        int algo = isShortVideo(scene) ? SHORT_VIDEO_ALGO : 0;
        int started = mAdapter.nativeSendQoeStallDetectCmd(START, UID, scene, algo, 0);
        out.println(" nativeSendQoeStallDetectCmd(" + START + ", " + UID + ", " + scene + ", " + algo + ", 0) = "
                + started);
        if (started != 0 || !GenlKernel.waitForCommand(GenlKernel.CMD_START, 1, WAIT_MS)) {
            stopFrames();
            throw new IllegalStateException("the library did not start a stall session for scene " + scene);
        }
        int interval = (int) GenlKernel.sentAttr(GenlKernel.CMD_START, GenlKernel.ATTR_INTERVAL)[0];
        out.println("   kernel got START uid=" + GenlKernel.sentAttr(GenlKernel.CMD_START, GenlKernel.ATTR_UID)[0]
                + " class=" + GenlKernel.sentAttr(GenlKernel.CMD_START, GenlKernel.ATTR_DETECT_CLASS)[0]
                + " interval=" + interval + " ms");
        waitForQuiet();  // the session's start-up lines, before any report
        Path csv = report.sidecar(name + ".csv");
        Path episodes = report.sidecar(name + "-episodes.csv");
        mSession = isShortVideo(scene)
                ? new StallSession(title, scene, interval, new String[] {"detect_state"},
                        new String[] {"loaded", "total"}, csv, episodes)
                : new StallSession(title, scene, interval, new String[] {"packets in", "packets out"},
                        new String[] {"bytes in", "bytes out"}, csv, episodes);
    }

    int interval() {
        return mSession.intervalMs;
    }

    StallSession session() {
        return mSession;
    }

    /** One throughput report, after the frame-service results due before it. */
    void feed(StallTrace.Throughput row, List<Integer> frames) throws InterruptedException {
        deliver(frames);
        long time = timeOfNext();
        if (printing()) {
            mOut.println(String.format("   t=%ds report: %3d packets in, %5d bytes in, %4d bytes out%s", time / 1000,
                    row.inPkts(), row.inBytes(), row.outBytes(), frameText(frames)));
        }
        mInTotal += row.inBytes();
        mOutTotal += row.outBytes();
        push(GenlKernel.pushThroughputReport(UID, (int) row.inPkts(), (int) row.outPkts(), (int) row.inBytes(),
                (int) row.outBytes()));
        List<String> log = row.inBytes() + row.outBytes() > 0 ? waitForTotals() : waitForQuiet();
        record(time, new long[] {row.inPkts(), row.outPkts()}, new long[] {row.inBytes(), row.outBytes()}, frames,
                log);
    }

    /** One short-video report carrying the entry under detection. */
    void feed(StallTrace.ShortVideo row, List<Integer> frames) throws InterruptedException {
        deliver(frames);
        long time = timeOfNext();
        if (printing()) {
            mOut.println(String.format("   t=%ds report: video %s (entry %d, state %d), %d of %d bytes loaded%s",
                    time / 1000, row.video(), row.detectIndex(), row.detectState(), row.loaded(), row.total(),
                    frameText(frames)));
        }
        push(GenlKernel.pushAwemeReport(UID, row.detectIndex(), (int) row.curIndex(), (int) row.validNum(),
                (int) row.detectState(), row.loadedBase(), row.total(), (int) row.rangeStart(), (int) row.inBytes(),
                row.timescale(), row.dur(), row.video()));
        record(time, new long[] {row.detectState()}, new long[] {row.loaded(), row.total()}, frames, waitForQuiet());
    }

    /** Stops the session as the service does, shows what the kernel saw of it and closes its record. */
    StallSession finish() throws InterruptedException {
        if (!mVerbose && mSession.passes() > PRINTED) {
            mOut.println("   (" + mSession.passes() + " reports, " + mSession.callbacks() + " callbacks in all; the "
                    + "first " + PRINTED + " of each were printed, the report has every one)");
        }
        long[] totals = mAdapter.nativeGetCurrTotalTraffic();
        mOut.println(" nativeGetCurrTotalTraffic() = [out " + totals[0] + ", in " + totals[1] + "]");
        mOut.println(" nativeSendQoeStallDetectCmd(" + STOP + ", ...) = "
                + mAdapter.nativeSendQoeStallDetectCmd(STOP, UID, mSession.scene, 0, 0));
        // The worker notices the stop with the next report; one of another uid ends it without a detector pass.
        GenlKernel.pushThroughputReport(UID + 1, 0, 0, 0, 0);
        boolean stopped = GenlKernel.waitForCommand(GenlKernel.CMD_STOP, 1, WAIT_MS);
        long deadline = System.currentTimeMillis() + WAIT_MS;
        while (KernelEmulator.openSockets(KernelEmulator.GENERIC) > 0 && System.currentTimeMillis() < deadline) {
            Thread.sleep(1);
        }
        String kernel = "kernel got " + (stopped ? "STOP" : "no STOP") + ", keep-alives "
                + GenlKernel.countSent(GenlKernel.CMD_KEEPALIVE);
        if (isShortVideo(mSession.scene)) {
            kernel += ", updates " + GenlKernel.countSent(GenlKernel.CMD_UPDATE);
        }
        mOut.println("   " + kernel);
        mSession.notes.add("Totals the library kept: " + totals[1] + " bytes in, " + totals[0] + " bytes out; "
                + kernel + ".");
        stopFrames();
        ZvQestaJniAdapter.setStallListener(null);
        LibraryLog.take();
        mSession.close();
        return mSession;
    }

    private boolean printing() {
        return mVerbose || mSession.passes() < PRINTED;
    }

    private void stopFrames() {
        if (mFrames) {
            mAdapter.nativeStopFrameDetect();
        }
    }

    private void onStall(int value, int scene, int kind, boolean flag) {
        StallSession.Callback call = new StallSession.Callback(value, scene, kind, flag);
        if (mVerbose || mPrintedCallbacks++ < PRINTED) {
            mOut.println("      <- " + call + "  " + (kind == 1 ? "frame detection result passed on" : "stall"));
        }
        synchronized (mCallbacks) {
            mCallbacks.add(call);
        }
    }

    private void deliver(List<Integer> frames) {
        for (int result : frames) {
            PlatformStandIns.veltroNotify(result);  // returns once the listener has it
        }
    }

    private static String frameText(List<Integer> frames) {
        return frames.isEmpty() ? "" : ", frame service: " + frames.toString().replaceAll("[\\[\\]]", "");
    }

    /** The end of the next report's interval, in ms from the start of the trace (64-bit: traces may be long). */
    private long timeOfNext() {
        return (mSession.passes() + 1) * mSession.intervalMs;
    }

    private void push(boolean delivered) {
        if (!delivered) {
            throw new IllegalStateException("the emulated kernel could not deliver report "
                    + (mSession.passes() + 1) + ": the library closed its socket");
        }
    }

    private void record(long time, long[] counts, long[] bytes, List<Integer> frames, List<String> log) {
        List<StallSession.Callback> callbacks;
        synchronized (mCallbacks) {
            callbacks = mCallbacks.isEmpty() ? List.of() : new ArrayList<>(mCallbacks);
            mCallbacks.clear();
        }
        mSession.add(new StallSession.Pass(time, counts, bytes, frames, Verdict.of(mSession.scene, log), callbacks,
                log));
    }

    /** The totals move on once the worker has finished with the report and waits for the next. */
    private List<String> waitForTotals() {
        long start = System.nanoTime();
        long deadline = start + WAIT_MS * 1_000_000L;
        while (true) {
            long[] totals = mAdapter.nativeGetCurrTotalTraffic();
            if (totals[0] == mOutTotal && totals[1] == mInTotal) {
                return LibraryLog.take();
            }
            long now = System.nanoTime();
            if (now > deadline) {
                throw new IllegalStateException("the library did not take in report " + (mSession.passes() + 1)
                        + " within " + WAIT_MS + " ms");
            }
            if (now - start < SPIN_NS) {
                Thread.onSpinWait();
            } else {
                LockSupport.parkNanos(PARK_NS);
            }
        }
    }

    private List<String> waitForQuiet() throws InterruptedException {
        return LibraryLog.takeWhenQuiet(QUIET_MS, WAIT_MS);
    }
}
