package com.android.server.qesta.sim;

import com.android.server.qesta.ZvQestaJniAdapter;
import com.android.server.qesta.testing.PlatformStandIns;

import java.io.BufferedWriter;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.locks.LockSupport;

/**
 * "stall --kernel vm": a call trace replayed as real traffic through the real
 * stall module, in the VM. Per interval the trace's packets go out as UDP
 * datagrams of the app uid over wlan0 (both directions) right after the
 * module's previous report, the module counts them and reports, the library's
 * worker and detector take the report in, and what the module measured is
 * kept beside what the trace asked for.
 */
final class KernelVmStall {
    /** One interval: the trace's row, what was sent for it and what the module reported. */
    record Interval(long timeMs, StallTrace.Throughput trace, KernelVmTraffic.Sent in, KernelVmTraffic.Sent out,
            KernelVm.Session measured, boolean late) {
        boolean matches() {
            return measured.inPkts() == in.packets() && measured.inBytes() == in.ipBytes()
                    && measured.outPkts() == out.packets() && measured.outBytes() == out.ipBytes();
        }

        /** Whether the trace's own figures could go on the wire unchanged (at least the headers' 28 bytes a datagram). */
        boolean exact() {
            return in.packets() == trace.inPkts() && in.ipBytes() == trace.inBytes()
                    && out.packets() == trace.outPkts() && out.ipBytes() == trace.outBytes();
        }
    }

    /** The session and the interval-by-interval comparison. */
    record Result(StallSession session, String kernel, int divisor, long intervals, long matching, long exact,
            List<Interval> shown, Path csv) {}

    static final String CSV = "kernel-intervals.csv";
    // The module's time is compressed to this many ms a report: a 60-report call trace replays in 30 s, and
    // the replay (a JIT-less JVM at first, under qemu's emulation) sends each row well within its interval.
    static final int COMPRESSED_MS = 500;
    private static final int CALL_CLASS = 1;
    private static final int START = 24;
    private static final int STOP = 25;
    private static final int SHOWN = 60;
    // A report is awaited for at most this many of its (compressed) intervals, plus the slack below.
    private static final int REPORT_WAIT_INTERVALS = 20;
    private static final long WAIT_MS = 10_000;
    private static final long POLL_NS = 1_000_000;
    private static final long QUIET_MS = 20;

    private final ZvQestaJniAdapter mAdapter = new ZvQestaJniAdapter();
    private final List<StallSession.Callback> mCallbacks = new ArrayList<>();
    private final PrintStream mOut;
    private final boolean mVerbose;
    private final int mScene;
    private long mPrintedCallbacks;

    private KernelVmStall(PrintStream out, boolean verbose, int scene) {
        mOut = out;
        mVerbose = verbose;
        mScene = scene;
    }

    static Result run(Options options, PrintStream out, boolean verbose, Report report) throws InterruptedException {
        KernelVm.requireModule();
        int scene = options.integer("--scene", 0, Integer.MAX_VALUE);
        if (!StallReplay.isKnownScene(scene)) {
            throw new SimulatorError("--scene " + scene + ": unknown scene (known: " + Help.SCENES + ")");
        }
        if (StallReplay.isShortVideo(scene)) {
            throw new SimulatorError("--kernel " + KernelVm.VM + " replays the call scenes ("
                    + StallReplay.VOICE_CALL + ", " + StallReplay.VIDEO_CALL + ") only; scene " + scene
                    + " runs on the emulator");
        }
        Path tracePath = options.inputFile("--trace");
        Path framesPath = options.has("--frames") ? options.inputFile("--frames") : null;
        int reportMs = StallReplay.reportInterval(scene);
        int traceMs = options.has("--interval") ? options.integer("--interval", 1, 3_600_000) : reportMs;
        if (reportMs % traceMs != 0) {
            throw new SimulatorError("--interval " + traceMs + ": the library asks for a report every " + reportMs
                    + " ms in scene " + scene + "; give a trace interval that divides it");
        }
        check(tracePath, traceMs, framesPath);
        String saved = KernelVm.divisor();
        KernelVm.setDivisor(Integer.toString(divisor(scene)));
        try {
            return new KernelVmStall(out, verbose, scene).replay(tracePath, traceMs, framesPath, report);
        } finally {
            KernelVm.setDivisor(saved);
        }
    }

    static int divisor(int scene) {
        return Math.max(1, StallReplay.reportInterval(scene) / COMPRESSED_MS);
    }

    /** The whole input, read once before the session starts. */
    private static void check(Path tracePath, int traceMs, Path framesPath) {
        try (StallTrace.Calls calls = new StallTrace.Calls(tracePath, traceMs, traceMs);
                StallTrace.Frames frames = new StallTrace.Frames(framesPath)) {
            while (calls.next() != null) {
                // each row is checked as it is read
            }
            frames.undelivered();
        }
    }

    private Result replay(Path tracePath, int traceMs, Path framesPath, Report report) throws InterruptedException {
        String kernel = KernelVm.describe();
        int reportMs = StallReplay.reportInterval(mScene);
        mOut.println("==== stall: scene " + mScene + ", " + tracePath + ", on the real kernel ====");
        mOut.println(" " + kernel);
        boolean frames = framesPath != null || mScene == StallReplay.VIDEO_CALL;
        Path csv = report.sidecar(CSV);
        try (KernelVmTraffic traffic = new KernelVmTraffic(StallReplay.UID);
                StallTrace.Calls calls = new StallTrace.Calls(tracePath, traceMs, reportMs);
                StallTrace.Frames results = new StallTrace.Frames(framesPath);
                BufferedWriter rows = Files.newBufferedWriter(csv, StandardCharsets.UTF_8);
                Progress progress = new Progress("replaying " + tracePath + " on the real kernel")) {
            rows.write("t_ms,trace_in_pkts,trace_out_pkts,trace_in_bytes,trace_out_bytes,sent_in_pkts,sent_out_pkts,"
                    + "sent_in_ip_bytes,sent_out_ip_bytes,sent_in_payload,sent_out_payload,module_in_pkts,"
                    + "module_out_pkts,module_in_bytes,module_out_bytes,match,late\n");
            warmUp(traffic);
            KernelVm.Session start = startSession(frames);
            StallSession session = new StallSession("Scene " + mScene + " on the real kernel: "
                    + tracePath.getFileName(), mScene, reportMs, new String[] {"packets in", "packets out"},
                    new String[] {"bytes in", "bytes out"}, report.sidecar("stall.csv"),
                    report.sidecar("stall-episodes.csv"));
            session.notes.add(kernel);
            List<Interval> shown = new ArrayList<>();
            long matching = 0;
            long exact = 0;
            long inTotal = 0;
            long outTotal = 0;
            try {
                if (start.intervalMs() != reportMs) {
                    throw new IllegalStateException("the module reports every " + start.intervalMs() + " ms in scene "
                            + mScene + ", not the " + reportMs + " ms its detector uses");
                }
                for (StallTrace.Throughput row; (row = calls.next()) != null; ) {
                    long time = (session.passes() + 1) * reportMs;
                    List<Integer> due = results.before(time);
                    due.forEach(PlatformStandIns::veltroNotify);  // each returns once the listener has it
                    KernelVmTraffic.Sent out = traffic.out(row.outPkts(), row.outBytes());
                    KernelVmTraffic.Sent in = traffic.in(row.inPkts(), row.inBytes());
                    long wanted = start.reports() + session.passes() + 1;
                    boolean late = KernelVm.session(StallReplay.UID, CALL_CLASS).reports() >= wanted;
                    KernelVm.Session measured = awaitReport(wanted);
                    Interval interval = new Interval(time, row, in, out, measured, late);
                    inTotal += measured.inBytes();
                    outTotal += measured.outBytes();
                    List<String> log = measured.inBytes() + measured.outBytes() > 0
                            ? awaitTotals(inTotal, outTotal) : awaitQuiet();
                    print(interval, session.passes());
                    session.add(new StallSession.Pass(time, new long[] {measured.inPkts(), measured.outPkts()},
                            new long[] {measured.inBytes(), measured.outBytes()}, due, Verdict.of(mScene, log),
                            takeCallbacks(), log));
                    matching += interval.matches() ? 1 : 0;
                    exact += interval.exact() ? 1 : 0;
                    if (shown.size() < SHOWN) {
                        shown.add(interval);
                    }
                    rows.write(csvRow(interval));
                    progress.update(() -> String.format("%.0f%% of the trace, %d reports", 100 * calls.fractionRead(),
                            session.passes()));
                }
                if (calls.leftOver() > 0) {
                    Notices.warn(tracePath + ":" + calls.leftOverLine() + ": the last " + calls.leftOver() + " row(s) "
                            + "do not fill a " + reportMs + " ms report and were not replayed");
                }
            } finally {
                stopSession(frames, session);
            }
            return new Result(session, kernel, divisor(mScene), session.passes(), matching, exact, shown, csv);
        } catch (IOException e) {
            throw SimulatorError.io(csv, e);
        }
    }

    /**
     * Each step of a row once before the session starts: the first run of the
     * code is the slowest, and a row must go out well within its interval.
     */
    private void warmUp(KernelVmTraffic traffic) {
        traffic.out(0, 0);
        traffic.in(0, 0);
        KernelVm.session(StallReplay.UID, CALL_CLASS);
        mAdapter.nativeGetCurrTotalTraffic();
        Interval idle = new Interval(0, new StallTrace.Throughput(0, 0, 0, 0), new KernelVmTraffic.Sent(0, 0, 0),
                new KernelVmTraffic.Sent(0, 0, 0), new KernelVm.Session(0, 0, 0, 0, 0, 0), false);
        csvRow(idle);
        Verdict.of(mScene, List.of());
    }

    private KernelVm.Session startSession(boolean frames) throws InterruptedException {
        LibraryLog.take();
        ZvQestaJniAdapter.setStallListener(this::onStall);
        if (frames) {
            mAdapter.nativeStartFrameDetect(mScene);
            PlatformStandIns.veltroWaitRegistrations(1, (int) WAIT_MS);
        }
        int started = mAdapter.nativeSendQoeStallDetectCmd(START, StallReplay.UID, mScene, 0, 0);
        mOut.println(" nativeSendQoeStallDetectCmd(" + START + ", " + StallReplay.UID + ", " + mScene + ", 0, 0) = "
                + started);
        KernelVm.Session session = started == 0 ? KernelVm.session(StallReplay.UID, CALL_CLASS) : null;
        if (session == null) {
            throw new IllegalStateException("the library did not start a stall session in the module for scene "
                    + mScene);
        }
        mOut.println("   module: session of uid " + StallReplay.UID + ", a report every " + session.intervalMs()
                + " ms (divided by " + divisor(mScene) + " here)");
        awaitQuiet();  // the session's start-up lines, before any report
        return session;
    }

    private void stopSession(boolean frames, StallSession session) throws InterruptedException {
        long[] totals = mAdapter.nativeGetCurrTotalTraffic();
        mOut.println(" nativeGetCurrTotalTraffic() = [out " + totals[0] + ", in " + totals[1] + "]");
        mOut.println(" nativeSendQoeStallDetectCmd(" + STOP + ", ...) = "
                + mAdapter.nativeSendQoeStallDetectCmd(STOP, StallReplay.UID, mScene, 0, 0));
        long deadline = System.currentTimeMillis() + WAIT_MS;
        while (KernelVm.session(StallReplay.UID, CALL_CLASS) != null && System.currentTimeMillis() < deadline) {
            Thread.sleep(5);
        }
        boolean ended = KernelVm.session(StallReplay.UID, CALL_CLASS) == null;
        mOut.println("   module: session " + (ended ? "ended" : "still open"));
        session.notes.add("Totals the library kept: " + totals[1] + " bytes in, " + totals[0] + " bytes out; the "
                + "module's session " + (ended ? "ended" : "was still open") + " after STOP.");
        if (frames) {
            mAdapter.nativeStopFrameDetect();
        }
        ZvQestaJniAdapter.setStallListener(null);
        LibraryLog.take();
        session.close();
    }

    /** Until the module has sent report number {@code wanted}; its figures. */
    private KernelVm.Session awaitReport(long wanted) {
        long deadline = System.nanoTime()
                + (REPORT_WAIT_INTERVALS * (long) COMPRESSED_MS + WAIT_MS) * 1_000_000L;
        while (true) {
            KernelVm.Session session = KernelVm.session(StallReplay.UID, CALL_CLASS);
            if (session == null) {
                throw new IllegalStateException("the module's session ended before report " + wanted);
            }
            if (session.reports() >= wanted) {
                if (session.reports() > wanted) {
                    throw new IllegalStateException("the module sent report " + session.reports() + " before report "
                            + wanted + " was read: the replay fell behind the module's clock");
                }
                return session;
            }
            if (System.nanoTime() > deadline) {
                throw new IllegalStateException("the module sent no report " + wanted);
            }
            LockSupport.parkNanos(POLL_NS);
        }
    }

    /** The library's totals reach the module's: its worker has taken the report in. */
    private List<String> awaitTotals(long in, long out) {
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

    /** A report without bytes moves no total: it is taken in once the library has logged nothing for a while. */
    private List<String> awaitQuiet() throws InterruptedException {
        long deadline = System.currentTimeMillis() + WAIT_MS;
        long quietSince = System.currentTimeMillis();
        int seen = LibraryLog.pending();
        while (System.currentTimeMillis() - quietSince < QUIET_MS && System.currentTimeMillis() < deadline) {
            Thread.sleep(2);
            int now = LibraryLog.pending();
            if (now != seen) {
                seen = now;
                quietSince = System.currentTimeMillis();
            }
        }
        return LibraryLog.take();
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

    private List<StallSession.Callback> takeCallbacks() {
        synchronized (mCallbacks) {
            List<StallSession.Callback> taken = List.copyOf(mCallbacks);
            mCallbacks.clear();
            return taken;
        }
    }

    private void print(Interval i, long index) {
        if (mVerbose || index < StallReplay.PRINTED) {
            mOut.println(String.format("   t=%ds trace: %d/%d packets in/out, %d/%d bytes; module: %d/%d packets, "
                    + "%d/%d bytes%s", i.timeMs() / 1000, i.trace().inPkts(), i.trace().outPkts(), i.trace().inBytes(),
                    i.trace().outBytes(), i.measured().inPkts(), i.measured().outPkts(), i.measured().inBytes(),
                    i.measured().outBytes(), i.matches() ? "" : " (not what was sent)"));
        }
    }

    private static String csvRow(Interval i) {
        return String.format("%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%s,%s%n", i.timeMs(), i.trace().inPkts(),
                i.trace().outPkts(), i.trace().inBytes(), i.trace().outBytes(), i.in().packets(), i.out().packets(),
                i.in().ipBytes(), i.out().ipBytes(), i.in().payloadBytes(), i.out().payloadBytes(),
                i.measured().inPkts(), i.measured().outPkts(), i.measured().inBytes(), i.measured().outBytes(),
                i.matches() ? "yes" : "no", i.late() ? "yes" : "no");
    }

    /** The page's section: which kernel, and per interval the trace beside what the module measured. */
    static void section(Report report, Result result) {
        report.subheading("The real kernel's count beside the trace");
        report.paragraph(result.kernel() + " Report intervals ran " + result.divisor() + " times faster than real "
                + "time (the module's time_divisor); the trace's clock is shown.");
        report.paragraph("Per interval the trace's packets went out as UDP datagrams right after the module's previous "
                + "report: outbound from a socket of uid " + StallReplay.UID + " on wlan0, inbound from its far end "
                + "to that socket. The module counts IP-level bytes, so each datagram carries the trace's bytes per "
                + "packet less 28 (IPv4 and UDP headers) as payload; where a row has fewer than 28 bytes a packet, "
                + "the datagrams are empty and the wire figure exceeds the trace's.");
        report.summary(List.of(result.matching() + " of " + result.intervals() + " intervals: the module reported "
                        + "exactly the packets and IP-level bytes sent for them (tolerance: none).",
                result.exact() + " of " + result.intervals() + " intervals: what was sent is the trace's own row "
                        + "(the others cannot be sent as they are: fewer than 28 bytes a packet, or bytes without "
                        + "packets)."));
        List<List<String>> rows = new ArrayList<>();
        for (Interval i : result.shown()) {
            rows.add(List.of(ReportSections.seconds(i.timeMs()),
                    i.trace().inPkts() + " / " + i.trace().outPkts(), i.trace().inBytes() + " / " + i.trace().outBytes(),
                    i.in().packets() + " / " + i.out().packets(),
                    i.in().ipBytes() + " / " + i.out().ipBytes() + "\n(payload " + i.in().payloadBytes() + " / "
                            + i.out().payloadBytes() + ")",
                    i.measured().inPkts() + " / " + i.measured().outPkts(),
                    i.measured().inBytes() + " / " + i.measured().outBytes(),
                    (i.matches() ? "yes" : "no") + (i.late() ? " (sent late)" : "")));
        }
        report.table(List.of("t (s)", "trace: packets in / out", "trace: bytes in / out", "sent: packets in / out",
                "sent: IP bytes in / out", "module: packets in / out", "module: bytes in / out", "module = sent"),
                rows);
        if (result.intervals() > rows.size()) {
            report.paragraph("The first " + rows.size() + " of " + result.intervals() + " intervals; all are in the "
                    + "CSV below.");
        }
        report.link("Every interval: " + CSV, CSV);
    }
}
