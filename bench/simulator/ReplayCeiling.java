package com.android.server.qesta.sim;

import com.android.server.qesta.ZvQestaJniAdapter;
import com.android.server.qesta.testing.GenlKernel;
import com.android.server.qesta.testing.KernelEmulator;
import com.android.server.qesta.testing.LogCapture;

import java.nio.file.Path;
import java.util.concurrent.locks.LockSupport;

/**
 * The ceiling of a stall replay: the same trace through the same session of
 * the library, with nothing but the loop the replay cannot do without (read
 * a report, push it through the emulated module, wait until the library has
 * taken it in, drop its log lines). No verdicts, records, charts or output.
 *
 *   ReplayCeiling SCENE TRACE TRACE_MS   prints "ceiling REPORTS SECONDS"
 */
public final class ReplayCeiling {
    private static final int START = 24;
    private static final int STOP = 25;
    private static final long WAIT_NS = 5_000_000_000L;
    private static final long QUIET_NS = 20_000_000L;  // as the replay waits on a report without bytes

    private ReplayCeiling() {}

    public static void main(String[] args) throws Exception {
        int scene = Integer.parseInt(args[0]);
        Path trace = Path.of(args[1]);
        int traceMs = Integer.parseInt(args[2]);
        ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();
        KernelEmulator.reset();
        LogCapture.install();
        if (adapter.nativeSendQoeStallDetectCmd(START, StallReplay.UID, scene, 0, 0) != 0
                || !GenlKernel.waitForCommand(GenlKernel.CMD_START, 1, 5000)) {
            throw new IllegalStateException("no session");
        }
        int interval = (int) GenlKernel.sentAttr(GenlKernel.CMD_START, GenlKernel.ATTR_INTERVAL)[0];
        long in = 0;
        long out = 0;
        long reports = 0;
        long start = System.nanoTime();
        try (StallTrace.Calls calls = new StallTrace.Calls(trace, traceMs, interval)) {
            for (StallTrace.Throughput row; (row = calls.next()) != null; reports++) {
                in += row.inBytes();
                out += row.outBytes();
                GenlKernel.pushThroughputReport(StallReplay.UID, (int) row.inPkts(), (int) row.outPkts(),
                        (int) row.inBytes(), (int) row.outBytes());
                if (row.inBytes() + row.outBytes() == 0) {
                    LockSupport.parkNanos(QUIET_NS);
                } else {
                    waitForTotals(adapter, in, out);
                }
                LogCapture.clear();
            }
        }
        double seconds = (System.nanoTime() - start) / 1e9;
        adapter.nativeSendQoeStallDetectCmd(STOP, StallReplay.UID, scene, 0, 0);
        GenlKernel.pushThroughputReport(StallReplay.UID + 1, 0, 0, 0, 0);
        GenlKernel.waitForCommand(GenlKernel.CMD_STOP, 1, 5000);
        System.out.printf("ceiling %d %.3f%n", reports, seconds);
    }

    private static void waitForTotals(ZvQestaJniAdapter adapter, long in, long out) {
        long deadline = System.nanoTime() + WAIT_NS;
        while (true) {
            long[] totals = adapter.nativeGetCurrTotalTraffic();
            if (totals[0] == out && totals[1] == in) {
                return;
            }
            if (System.nanoTime() > deadline) {
                throw new IllegalStateException("report not taken in");
            }
            Thread.onSpinWait();
        }
    }
}
