package com.android.server.qesta.sim;

import com.android.server.qesta.ZvQestaJniAdapter;
import com.android.server.qesta.testing.GenlKernel;
import com.android.server.qesta.testing.KernelEmulator;
import com.android.server.qesta.testing.PlatformStandIns;

import java.io.PrintStream;

/**
 * A video call whose throughput collapses: the service starts stall detection,
 * the emulated stall-detection module reports every two seconds, the
 * frame-detection service reports dropped frames, and the callbacks the Java
 * side receives are printed as they arrive.
 */
public final class StallScene {
    private static final int UID = 10123;
    private static final int VIDEO_CALL = 100106;
    private static final long WAIT_MS = 5000;

    private StallScene() {}

    public static void run(PrintStream out) throws InterruptedException {
        KernelEmulator.reset();
        ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();
        ZvQestaJniAdapter.setStallListener((value, scene, kind, flag) -> out.println(String.format(
                "      <- handleReportStallInfo(%d, %d, %d, %b)  %s", value, scene, kind, flag,
                kind == 1 ? "frame detection result passed on" : "stall")));
        adapter.nativeStartFrameDetect(VIDEO_CALL);
        PlatformStandIns.veltroWaitRegistrations(1, (int) WAIT_MS);

        out.println(" nativeSendQoeStallDetectCmd(24, " + UID + ", " + VIDEO_CALL + ", 0, 0) = "
                + adapter.nativeSendQoeStallDetectCmd(24, UID, VIDEO_CALL, 0, 0));
        GenlKernel.waitForCommand(GenlKernel.CMD_START, 1, WAIT_MS);
        out.println("   kernel got START uid=" + GenlKernel.sentAttr(GenlKernel.CMD_START, GenlKernel.ATTR_UID)[0]
                + " class=" + GenlKernel.sentAttr(GenlKernel.CMD_START, GenlKernel.ATTR_DETECT_CLASS)[0]
                + " interval=" + GenlKernel.sentAttr(GenlKernel.CMD_START, GenlKernel.ATTR_INTERVAL)[0] + " ms");

        Feed feed = new Feed(adapter, out);
        out.println("-- healthy call: about 110 packets per 2 s");
        for (int i = 0; i < 3; i++) {
            feed.report(110, 24000, 6000, 0);
        }
        out.println("-- a burst of video: heavy traffic, frame drops held back");
        feed.report(150, 90000, 9000, 2);
        feed.report(150, 90000, 9000, 2);
        out.println("-- throughput collapses: few packets, the game service sees dropped frames");
        feed.report(40, 3000, 800, 4);
        feed.report(25, 2000, 500, 6);
        feed.report(30, 2500, 600, 0);
        out.println("-- the link goes silent");
        for (int i = 0; i < 4; i++) {
            feed.report(0, 0, 0, 0);
        }
        long[] totals = adapter.nativeGetCurrTotalTraffic();
        out.println(" nativeGetCurrTotalTraffic() = [out " + totals[0] + ", in " + totals[1] + "]");

        out.println(" nativeSendQoeStallDetectCmd(25, ...) = "
                + adapter.nativeSendQoeStallDetectCmd(25, UID, VIDEO_CALL, 0, 0));
        GenlKernel.pushThroughputReport(UID, 0, 0, 0, 0);  // the worker sees the stop with the next report
        boolean stopped = GenlKernel.waitForCommand(GenlKernel.CMD_STOP, 1, WAIT_MS);
        out.println("   kernel got " + (stopped ? "STOP" : "no STOP") + ", keep-alives "
                + GenlKernel.countSent(GenlKernel.CMD_KEEPALIVE));
        adapter.nativeStopFrameDetect();
        ZvQestaJniAdapter.setStallListener(null);
    }

    /** Reports of the emulated module, each taken in by the worker before the next. */
    private static final class Feed {
        private final ZvQestaJniAdapter mAdapter;
        private final PrintStream mPrint;
        private long mInTotal;
        private long mOutTotal;
        private int mSeconds;

        Feed(ZvQestaJniAdapter adapter, PrintStream out) {
            mAdapter = adapter;
            mPrint = out;
        }

        void report(int packets, int inBytes, int outBytes, int droppedFrames) throws InterruptedException {
            if (droppedFrames != 0) {
                PlatformStandIns.veltroNotify(droppedFrames);
            }
            mSeconds += 2;
            mPrint.println(String.format("   t=%2ds report: %3d packets in, %5d bytes in, %4d bytes out%s", mSeconds,
                    packets, inBytes, outBytes, droppedFrames != 0 ? ", frame service: " + droppedFrames : ""));
            mInTotal += inBytes;
            mOutTotal += outBytes;
            GenlKernel.pushThroughputReport(UID, packets, packets / 2, inBytes, outBytes);
            if (packets == 0) {
                Thread.sleep(20);  // nothing to wait on: the totals stay put
                return;
            }
            long deadline = System.currentTimeMillis() + WAIT_MS;
            while (System.currentTimeMillis() < deadline) {
                long[] totals = mAdapter.nativeGetCurrTotalTraffic();
                if (totals[0] == mOutTotal && totals[1] == mInTotal) {
                    return;
                }
                Thread.sleep(1);
            }
        }
    }
}
