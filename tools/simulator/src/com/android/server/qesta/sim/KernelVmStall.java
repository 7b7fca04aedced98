package com.android.server.qesta.sim;

import java.io.BufferedWriter;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

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

    /** What a replay on the real kernel puts on the page. */
    interface Outcome {
        void write(Report report);
    }

    /** The session and the interval-by-interval comparison. */
    record Result(StallSession session, String kernel, long intervals, long matching, long exact,
            List<Interval> shown, Path csv) implements Outcome {
        @Override
        public void write(Report report) {
            ReportSections.stall(report, session);
            section(report, this);
        }
    }

    static final String CSV = "kernel-intervals.csv";
    private static final int SHOWN = 60;

    private final PrintStream mOut;
    private final KernelVmSession mSession;
    private final int mScene;

    private KernelVmStall(PrintStream out, boolean verbose, int scene, boolean frames) {
        mOut = out;
        mScene = scene;
        mSession = new KernelVmSession(out, verbose, scene, frames);
    }

    /** The VM's stall command: a call trace here, a short-video trace through {@link KernelVmVideo}. */
    static Outcome run(Options options, PrintStream out, boolean verbose, Report report) throws InterruptedException {
        KernelVm.requireModule();
        int scene = options.integer("--scene", 0, Integer.MAX_VALUE);
        if (!StallReplay.isKnownScene(scene)) {
            throw new SimulatorError("--scene " + scene + ": unknown scene (known: " + Help.SCENES + ")");
        }
        Path tracePath = options.inputFile("--trace");
        Path framesPath = options.has("--frames") ? options.inputFile("--frames") : null;
        int reportMs = StallReplay.reportInterval(scene);
        boolean video = StallReplay.isShortVideo(scene);
        int traceMs = options.has("--interval") ? options.integer("--interval", 1, 3_600_000) : reportMs;
        if (video ? traceMs != reportMs : reportMs % traceMs != 0) {
            throw new SimulatorError("--interval " + traceMs + ": the library asks for a report every " + reportMs
                    + " ms in scene " + scene + (video ? ", one row each" : "; give a trace interval that divides it"));
        }
        if (video) {
            KernelVmVideo.check(tracePath);
        } else {
            check(tracePath, traceMs, framesPath);
        }
        String saved = KernelVm.divisor();
        KernelVm.setDivisor("1");  // KernelVmSession.compress() from the first row on
        try {
            boolean frames = framesPath != null || scene == StallReplay.VIDEO_CALL;
            return video ? KernelVmVideo.replay(out, verbose, scene, tracePath, report)
                    : new KernelVmStall(out, verbose, scene, frames).replay(tracePath, traceMs, framesPath, report);
        } finally {
            KernelVm.setDivisor(saved);
        }
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
            mSession.start();
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
                for (StallTrace.Throughput row; (row = calls.next()) != null; ) {
                    long index = session.passes() + 1;
                    long time = index * reportMs;
                    List<Integer> due = results.before(time);
                    mSession.deliver(due);
                    KernelVmTraffic.Sent out = traffic.out(row.outPkts(), row.outBytes());
                    KernelVmTraffic.Sent in = traffic.in(row.inPkts(), row.inBytes());
                    if (index == 1) {
                        mSession.compress();
                    }
                    boolean late = mSession.sent(index);
                    KernelVm.Session measured = mSession.awaitReport(index);
                    Interval interval = new Interval(time, row, in, out, measured, late);
                    inTotal += measured.inBytes();
                    outTotal += measured.outBytes();
                    List<String> log = measured.inBytes() + measured.outBytes() > 0
                            ? mSession.awaitTotals(inTotal, outTotal) : mSession.awaitQuiet();
                    print(interval, session.passes());
                    session.add(new StallSession.Pass(time, new long[] {measured.inPkts(), measured.outPkts()},
                            new long[] {measured.inBytes(), measured.outBytes()}, due, Verdict.of(mScene, log),
                            mSession.takeCallbacks(), log));
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
                mSession.stop(session);
            }
            return new Result(session, kernel, session.passes(), matching, exact,
                    shown, csv);
        } catch (IOException e) {
            throw SimulatorError.io(csv, e);
        }
    }

    /** Each step of a row once before the session starts: a row must go out well within its interval. */
    private void warmUp(KernelVmTraffic traffic) {
        traffic.out(0, 0);
        traffic.in(0, 0);
        mSession.warmUp();
        KernelVmTraffic.Sent none = new KernelVmTraffic.Sent(0, 0, 0);
        csvRow(new Interval(0, new StallTrace.Throughput(0, 0, 0, 0), none, none,
                new KernelVm.Session(0, 0, 0, 0, 0, 0, 0, 0, 0), false));
    }

    private void print(Interval i, long index) {
        if (mSession.printing(index)) {
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
        report.paragraph(result.kernel() + " " + KernelVmSession.pace(result.session().scene));
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
