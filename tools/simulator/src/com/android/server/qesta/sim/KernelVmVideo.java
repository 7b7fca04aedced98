package com.android.server.qesta.sim;

import java.io.BufferedWriter;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.locks.LockSupport;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * A short-video trace on the real kernel: each video of the trace becomes an
 * MP4 of its size and duration, served over real HTTP from network namespace
 * "peer" to a player under the app uid, and the trace's loaded bytes of each
 * second are what the server lets go that second (the trace's rate is the
 * throttle). The stall module's tracker follows the exchange; what it
 * reported comes back through the library's own line for each report.
 */
final class KernelVmVideo {
    static final String CSV = "kernel-videos.csv";
    private static final String PORT = "8090";
    private static final int SHOWN = 60;
    private static final long POLL_NS = 1_000_000;
    private static final int WARM_UP_BYTES = 262_144;  // several chunks and TCP windows, as a row moves
    private static final int LEAD_IN = 2;  // reports before the first row
    // Keys go into a URL as they are.
    private static final Pattern KEY = Pattern.compile("[A-Za-z0-9._-]+");
    // The short-video detector's line for a report, as the library logs it.
    private static final Pattern ENTRY = Pattern.compile("detect_index=(\\d+), valid_num=(\\d+), l_inbytes=(\\d+), "
            + "total=(\\d+), video=(.*), dur=(-?\\d+), timescale=(-?\\d+)");

    /** The entry under detection as the library received it. */
    record Entry(long inBytes, long total, String video, long dur, long timescale) {
        static Entry of(List<String> log) {
            for (String line : log) {
                Matcher m = ENTRY.matcher(line);
                if (m.find()) {
                    // The total is the record's unsigned 64 bits: past 2^63 it reads negative and matches nothing.
                    return new Entry(Long.parseLong(m.group(3)), Long.parseUnsignedLong(m.group(4)), m.group(5),
                            Long.parseLong(m.group(6)), Long.parseLong(m.group(7)));
                }
            }
            return null;
        }
    }

    /** One report: the trace's row, what the server let go and the player read, what the module reported. */
    record Interval(long timeMs, StallTrace.ShortVideo trace, long released, long read, KernelVm.Session module,
            Entry entry, boolean late) {
        boolean matches() {
            return entry != null && entry.inBytes() == released && entry.total() == trace.total()
                    && entry.dur() == trace.dur() && entry.timescale() == trace.timescale();
        }
    }

    record Result(StallSession session, String kernel, long reports, long withEntry, long matching,
            List<Interval> shown) implements KernelVmStall.Outcome {
        @Override
        public void write(Report report) {
            ReportSections.stall(report, session);
            section(report, this);
        }
    }

    private KernelVmVideo() {}

    /** The whole trace, read once before the session starts: each video needs its size and a URL-safe key. */
    static void check(Path tracePath) {
        try (StallTrace.Videos videos = new StallTrace.Videos(tracePath)) {
            long row = 1;
            for (StallTrace.ShortVideo video; (video = videos.next()) != null; row++) {
                if (video.total() <= 0 || !KEY.matcher(video.video()).matches()) {
                    throw SimulatorError.at(tracePath, row + 1, 5, "--kernel vm serves each video over HTTP: it "
                            + "needs its size (total above 0) and a key of letters, digits, '.', '_' and '-'");
                }
            }
        }
    }

    static Result replay(PrintStream out, boolean verbose, int scene, Path tracePath, Report report)
            throws InterruptedException {
        String kernel = KernelVm.describe();
        int reportMs = StallReplay.reportInterval(scene);
        out.println("==== stall: scene " + scene + ", " + tracePath + ", on the real kernel ====");
        out.println(" " + kernel);
        KernelVmSession vm = new KernelVmSession(out, verbose, scene, false);
        String script = KernelVmProcess.script("video_replay.py").toString();
        Path csv = report.sidecar(CSV);
        try (KernelVmProcess server = new KernelVmProcess("video server",
                    List.of("ip", "netns", "exec", "peer", KernelVmProcess.PYTHON, script, "serve", PORT));
                KernelVmProcess player = new KernelVmProcess("player", List.of("setpriv",
                    "--reuid=" + StallReplay.UID, "--regid=" + StallReplay.UID, "--clear-groups",
                    KernelVmProcess.PYTHON, script, "play", "10.77.0.2:" + PORT, Integer.toString(scene)));
                StallTrace.Videos videos = new StallTrace.Videos(tracePath);
                BufferedWriter rows = Files.newBufferedWriter(csv, StandardCharsets.UTF_8);
                Progress progress = new Progress("replaying " + tracePath + " on the real kernel")) {
            rows.write("t_ms,trace_video,trace_loaded,trace_total,trace_timescale,trace_dur,released,player_read,"
                    + "module_detect_index,module_detect_state,module_video,module_in_bytes,module_total,"
                    + "module_timescale,module_dur,match,late\n");
            warmUp(server, player, vm);
            vm.warmUp();
            vm.start();
            // Reports before the first video, so that its first row meets warm code and has a whole
            // interval: they carry no request (state 0), which the detector skips.
            vm.compress();
            vm.awaitReport(LEAD_IN);
            vm.awaitQuiet();
            StallSession session = new StallSession("Scene " + scene + " on the real kernel: "
                    + tracePath.getFileName(), scene, reportMs, new String[] {"detect_state"},
                    new String[] {"loaded", "total"}, report.sidecar("stall.csv"), report.sidecar("stall-episodes.csv"));
            session.notes.add(kernel);
            List<Interval> shown = new ArrayList<>();
            long withEntry = 0;
            long matching = 0;
            String current = null;
            try {
                for (StallTrace.ShortVideo row; (row = videos.next()) != null; ) {
                    long index = session.passes() + LEAD_IN + 1;
                    if (!row.video().equals(current)) {
                        current = row.video();
                        server.ask("video " + current + " " + row.total() + " " + row.timescale() + " " + row.dur(),
                                "video");
                        player.ask("play " + current, "playing");
                    }
                    long released = Math.min(row.loaded(), row.total());
                    server.ask("release " + released, "released");
                    long read = awaitRead(player, released, vm, index);
                    boolean late = vm.sent(index);
                    KernelVm.Session module = vm.awaitReport(index);
                    List<String> log = vm.awaitQuiet();
                    Entry entry = Entry.of(log);
                    Interval interval = new Interval((session.passes() + 1) * reportMs, row, released, read, module,
                            entry, late);
                    if (vm.printing(session.passes())) {
                        out.println(String.format("   t=%ds trace: video %s, %d of %d bytes loaded; module: %s",
                                interval.timeMs() / 1000, row.video(), row.loaded(), row.total(), entry == null
                                        ? "no entry under detection (state " + module.detectState() + ")"
                                        : "video " + entry.video() + ", " + entry.inBytes() + " of " + entry.total()
                                                + " bytes"));
                    }
                    session.add(new StallSession.Pass(interval.timeMs(), new long[] {module.detectState()},
                            new long[] {entry != null ? entry.inBytes() : 0, entry != null ? entry.total() : 0},
                            List.of(), Verdict.of(scene, log), vm.takeCallbacks(), log));
                    withEntry += entry != null ? 1 : 0;
                    matching += interval.matches() ? 1 : 0;
                    if (shown.size() < SHOWN) {
                        shown.add(interval);
                    }
                    rows.write(csvRow(interval));
                    progress.update(() -> String.format("%.0f%% of the trace, %d reports",
                            100 * videos.fractionRead(), session.passes()));
                }
            } finally {
                vm.stop(session);
            }
            return new Result(session, kernel, session.passes(), withEntry, matching,
                    shown);
        } catch (IOException e) {
            throw SimulatorError.io(csv, e);
        }
    }

    /**
     * One whole exchange before the session starts, which the module does not
     * follow yet: the helpers' first request is by far their slowest, and a
     * swipe must be done well within its report.
     */
    private static void warmUp(KernelVmProcess server, KernelVmProcess player, KernelVmSession vm) {
        server.ask("video warm-up " + WARM_UP_BYTES + " 1 1", "video");
        player.ask("play warm-up", "playing");
        server.ask("release " + WARM_UP_BYTES, "released");
        long deadline = System.currentTimeMillis() + KernelVmSession.WAIT_MS;
        while (Long.parseLong(player.ask("loaded", "loaded")[1]) < WARM_UP_BYTES) {
            if (System.currentTimeMillis() > deadline) {
                throw new IllegalStateException("the player did not load the warm-up video");
            }
            LockSupport.parkNanos(POLL_NS);
        }
    }

    /** Until the player has read what was released, or the report is out: the bytes it has read. */
    private static long awaitRead(KernelVmProcess player, long released, KernelVmSession vm, long index) {
        while (true) {
            long read = Long.parseLong(player.ask("loaded", "loaded")[1]);
            if (read >= released || vm.sent(index)) {
                return read;
            }
            LockSupport.parkNanos(POLL_NS);
        }
    }

    private static String csvRow(Interval i) {
        Entry e = i.entry();
        return String.join(",", Long.toString(i.timeMs()), i.trace().video(), Long.toString(i.trace().loaded()),
                Long.toString(i.trace().total()), Integer.toString(i.trace().timescale()),
                Integer.toString(i.trace().dur()), Long.toString(i.released()), Long.toString(i.read()),
                Long.toString(i.module().detectIndex()), Long.toString(i.module().detectState()),
                e != null ? e.video().replace(',', ';') : "", e != null ? Long.toString(e.inBytes()) : "",
                e != null ? Long.toString(e.total()) : "", e != null ? Long.toString(e.timescale()) : "",
                e != null ? Long.toString(e.dur()) : "", i.matches() ? "yes" : "no", i.late() ? "yes" : "no") + "\n";
    }

    static void section(Report report, Result result) {
        report.subheading("The real kernel's view beside the trace");
        report.paragraph(result.kernel() + " " + KernelVmSession.pace(result.session().scene));
        report.paragraph("Each video of the trace was an MP4 of the trace's size whose movie header (mvhd) carries "
                + "the trace's timescale and duration, fetched by the app uid with one ranged HTTP/1.1 request "
                + "(bytes=0-) in the URL form of the scene's search keys. Per report the server let the body go up "
                + "to the trace's loaded bytes and no further, and the player read what came. The module's figures "
                + "are those of the entry under detection in the report the library received (its log line for "
                + "the report); reports without that line carry no entry under detection.");
        report.summary(List.of(result.withEntry() + " of " + result.reports() + " reports carried an entry under "
                + "detection; " + result.matching() + " of them showed exactly the bytes released, the size, "
                + "timescale and duration of the trace (tolerance: none)."));
        List<List<String>> rows = new ArrayList<>();
        for (Interval i : result.shown()) {
            Entry e = i.entry();
            rows.add(List.of(ReportSections.seconds(i.timeMs()), i.trace().video(),
                    i.trace().loaded() + " of " + i.trace().total(),
                    i.trace().dur() + " / " + i.trace().timescale(), i.released() + "\n(read " + i.read() + ")",
                    i.module().detectIndex() + " / " + i.module().detectState(),
                    e == null ? "—" : e.video(), e == null ? "—" : e.inBytes() + " of " + e.total(),
                    e == null ? "—" : e.dur() + " / " + e.timescale(),
                    (i.matches() ? "yes" : "no") + (i.late() ? " (released late)" : "")));
        }
        report.table(List.of("t (s)", "trace: video", "trace: loaded of total", "trace: dur / timescale",
                "released", "module: index / state", "module: video", "module: bytes of total",
                "module: dur / timescale", "module = trace"), rows);
        if (result.reports() > rows.size()) {
            report.paragraph("The first " + rows.size() + " of " + result.reports() + " reports; all are in the CSV "
                    + "below.");
        }
        report.link("Every report: " + CSV, CSV);
    }
}
