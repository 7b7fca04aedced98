package com.android.server.qesta.sim;

import java.io.BufferedWriter;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeSet;
import java.util.stream.Collectors;

/** The report's section for each stall session and each clustering run. */
final class ReportSections {
    private static final int WIDTH = 1000;
    private static final int TIMELINE_HEIGHT = 640;
    private static final int TIMELINE_FRAMES_HEIGHT = 780;
    private static final int MAP_HEIGHT = 700;
    private static final int BARS_HEIGHT = 520;
    private static final int EPISODE_ROWS = 50;
    private static final int BATCH_ROWS = 100;
    private static final String BATCH_CSV = "batches.csv";
    private static final String CALLBACK_MEANING = "Callback arguments, handleReportStallInfo(value, scene, kind, "
            + "flag): value is 1 for a no-traffic stall, the detector's result for a detector or flag stall, and "
            + "the frame-detection service's result for kind 1; scene is the app scene code of the session; kind "
            + "is 0 for a stall and 1 for a frame-detection result passed on; flag is the short-video detector's "
            + "first-report flag (false on the call scenes).";

    private ReportSections() {}

    static void stall(Report report, StallSession session) {
        report.heading("Stall session — " + session.title);
        report.summary(stallSummary(session));
        if (!session.episodes.kept().isEmpty()) {
            List<List<String>> rows = new ArrayList<>();
            for (Episodes.Episode e : session.episodes.kept().subList(0,
                    Math.min(EPISODE_ROWS, session.episodes.kept().size()))) {
                rows.add(List.of(clock(e.startMs()), clock(e.endMs()), seconds(e.durationMs()), clock(e.detectedMs()),
                        e.rule().label, Integer.toString(e.callbacks()), e.values()));
            }
            report.table(List.of("start", "end", "duration (s)", "first callback", "rule", "callbacks",
                    "callback values"), rows);
            if (session.episodes.count() > rows.size()) {
                report.paragraph("The first " + rows.size() + " of " + session.episodes.count()
                        + " episodes are listed; all are in the CSV below.");
            }
        }
        report.link("Every episode: " + session.episodesCsv.getFileName(), session.episodesCsv.getFileName().toString());
        report.paragraph(CALLBACK_MEANING);
        List<List<String>> calls = new ArrayList<>();
        session.callbackCounts.forEach((call, count) -> calls.add(List.of(call, Long.toString(count))));
        if (!calls.isEmpty()) {
            report.table(List.of("callback (value, kind, flag)", "count"), calls);
        }
        List<List<String>> verdicts = new ArrayList<>();
        session.verdictCounts.forEach((verdict, count) -> verdicts.add(List.of(verdict, Long.toString(count))));
        report.table(List.of("detector verdict", "reports"), verdicts);
        report.paragraph(detectorRule(session));
        session.notes.forEach(report::paragraph);
        report.chart(Charts.timeline(session), WIDTH, session.anyFrames() ? TIMELINE_FRAMES_HEIGHT : TIMELINE_HEIGHT,
                "timeline of scene " + session.scene);
        List<String> head = new ArrayList<>(List.of("t (s)"));
        head.addAll(Arrays.asList(session.countSeries));
        head.addAll(Arrays.asList(session.byteSeries));
        head.addAll(List.of("frame service", "detector verdict", "callbacks", "stall engine log"));
        List<List<String>> rows = new ArrayList<>();
        for (StallSession.Pass pass : session.shown) {
            List<String> row = new ArrayList<>(List.of(seconds(pass.timeMs())));
            Arrays.stream(pass.counts()).forEach(value -> row.add(Long.toString(value)));
            Arrays.stream(pass.bytes()).forEach(value -> row.add(Long.toString(value)));
            row.add(pass.frames().stream().map(String::valueOf).collect(Collectors.joining(" ")));
            row.add(pass.verdict().text() + (pass.verdict().detail().isEmpty() ? "" : "\n" + pass.verdict().detail()));
            row.add(pass.callbacks().stream().map(Object::toString).collect(Collectors.joining("\n")));
            row.add(pass.log().stream().filter(line -> line.contains("/Korun: ")).collect(Collectors.joining("\n")));
            rows.add(row);
        }
        report.subheading("Reports");
        if (session.passes() > session.shown.size()) {
            report.paragraph("The first " + StallSession.FIRST_ROWS + " reports and the first "
                    + StallSession.CALLBACK_ROWS + " with a callback: " + session.shown.size() + " of "
                    + session.passes() + ". Every report is in the CSV below.");
        }
        report.link("Every report: " + session.csv.getFileName(), session.csv.getFileName().toString());
        report.table(head, rows);
    }

    /** A time from the start of the trace as h:mm:ss (tenths where a report interval needs them). */
    static String clock(long ms) {
        String text = String.format("%d:%02d:%02d", ms / 3_600_000, ms / 60_000 % 60, ms / 1000 % 60);
        return ms % 1000 == 0 ? text : text + "." + ms % 1000 / 100;
    }

    static String seconds(long ms) {
        return ms % 1000 == 0 ? Long.toString(ms / 1000) : String.format("%.1f", ms / 1000.0);
    }

    /** The answer to "did it stall, when, for how long", in a few lines. */
    private static List<String> stallSummary(StallSession session) {
        List<String> lines = new ArrayList<>();
        long reports = session.passes();
        long span = reports * session.intervalMs;
        if (session.episodes.count() == 0) {
            lines.add("No stall reported: " + reports + " reports (" + seconds(span) + " s), no callback.");
        } else {
            lines.add(session.episodes.count() + " episode(s) in " + reports + " reports (" + seconds(span) + " s), "
                    + session.callbacks() + " callback(s):");
            session.episodes.totals().forEach((rule, t) -> lines.add(String.format(
                    "%s: %d episode(s), %s s in all, longest %s s — %s", rule.label, t[0], seconds(t[1]),
                    seconds(t[2]), ruleThreshold(session, rule))));
        }
        lines.add("Thresholds: " + Charts.thresholds(session) + ".");
        return lines;
    }

    /** What makes a rule fire in this session, with its numbers. */
    static String ruleThreshold(StallSession session, Episodes.Rule rule) {
        int n = session.countThreshold();
        return switch (rule) {
            case NO_TRAFFIC -> "N = " + n + " reports in a row with no byte in or out (" + session.intervalMs
                    + " ms each), then one callback per further silent report";
            case DETECTOR -> "the detector's stall verdict, passed on every N = " + n + " reports while it lasts";
            case FIRST_REPORT -> "the short-video detector's first-report flag";
            case FRAMES -> "a frame-detection result other than 0, passed on at once; a result of 2 only after "
                    + session.frameHoldReports() + " reports of it";
        };
    }

    /** The detector's own rule and whether the session passes its verdict on. */
    private static String detectorRule(StallSession session) {
        if (session.scene == StallReplay.VIDEO_CALL) {
            return "Detector (video call): over the last 2 s, 100-120 packets with fewer than 30000 bytes is in band "
                    + "(0), 121 packets or more is heavy (2), anything else is 1. Scene " + StallReplay.VIDEO_CALL
                    + " does not pass these verdicts on: it reports silence and frame results only.";
        }
        if (session.scene == StallReplay.VOICE_CALL) {
            return "Detector (voice call): the three smallest per-second inbound packet counts of the last 5 s "
                    + "through a small tree (3G tree: stall when the smallest is 7.5 or less; 4G tree, once the 5 s "
                    + "average exceeds 30 packets: stall when the smallest is 19.5 or less); the first 4 reports "
                    + "warm up.";
        }
        return "Detector (short video): per request, the seconds downloaded against the seconds passed; shortfalls of "
                + "1, 2, 3 or 6 s are marked and a stall is declared when the marks over the last 10 requests reach "
                + "3 in a row or 4 in all (1 s), 2 or 3 (2 s), 1 (3 s).";
    }

    static void clustering(Report report, ClusterRun.Result result) {
        ClusterInput input = result.input();
        report.heading("Clustering — " + input.source);
        report.summary(clusteringSummary(result));
        batchTable(report, result);
        report.paragraph(input.scanCount() + " scans, " + input.bssidCount() + " BSSIDs; parameters: "
                + (result.params().isEmpty() ? "the library's defaults" : String.join(" ", result.params())) + ".");
        report.subheading("BSSIDs kept by selection (nativeGetWmpCoreTrainData): " + result.selected().size() + " of "
                + input.bssidCount() + ", " + result.coreScans() + " scans kept");
        report.paragraph(result.selected().isEmpty() ? "none" : String.join(" ", result.selected()));
        boolean truth = !input.placeOfBatch.isEmpty();
        for (ClusterRun.Clustering clustering : result.clusterings()) {
            report.subheading(clustering.name());
            report.paragraph(clustering.kept() + " scans kept in " + clustering.clusters().size() + " clusters"
                    + (truth ? String.format("; %d true places; purity %.3f, adjusted Rand index %.3f",
                            clustering.places(), clustering.purity(), clustering.ari()) : "; no ground truth")
                    + ".");
            if (!input.scans.isEmpty()) {
                report.chart(Charts.map(input, clustering), WIDTH, MAP_HEIGHT, "map of " + clustering.name());
            } else if (truth && !clustering.clusters().isEmpty()) {
                report.chart(Charts.placesAgainstClusters(clustering), WIDTH, BARS_HEIGHT,
                        "true places against clusters of " + clustering.name());
            }
            List<List<String>> rows = new ArrayList<>();
            for (ClusterRun.Cluster cluster : clustering.clusters()) {
                rows.add(truth ? List.of(Integer.toString(cluster.label()), Integer.toString(cluster.scans()),
                        cluster.place(), Integer.toString(cluster.placeScans()))
                        : List.of(Integer.toString(cluster.label()), Integer.toString(cluster.scans())));
            }
            report.table(truth ? List.of("cluster", "scans", "majority place", "scans at that place")
                    : List.of("cluster", "scans"), rows);
        }
    }

    /** Per pipeline: clusters, their sizes and, with a truth, how well they match it. */
    private static List<String> clusteringSummary(ClusterRun.Result result) {
        ClusterInput input = result.input();
        boolean truth = !input.placeOfBatch.isEmpty();
        List<String> lines = new ArrayList<>();
        lines.add(input.scanCount() + " scans, " + input.bssidCount() + " BSSIDs; selection kept "
                + result.selected().size() + " BSSIDs; " + (truth ? input.placeOfBatch.size()
                + " batches with a true place" : "no ground truth") + ".");
        for (ClusterRun.Clustering c : result.clusterings()) {
            int[] sizes = c.clusters().stream().mapToInt(ClusterRun.Cluster::scans).sorted().toArray();
            String spread = sizes.length == 0 ? "" : String.format(" of %d to %d scans (median %d)", sizes[0],
                    sizes[sizes.length - 1], sizes[sizes.length / 2]);
            lines.add(c.name() + ": " + sizes.length + " clusters" + spread + (truth ? String.format(
                    "; against %d true places purity %.3f, adjusted Rand index %.3f", c.places(), c.purity(), c.ari())
                    : "") + ".");
        }
        return lines;
    }

    /** Which cluster each batch went to in each pipeline, the first rows on the page and all in a CSV. */
    private static void batchTable(Report report, ClusterRun.Result result) {
        Map<Integer, String> places = result.input().placeOfBatch;
        Set<Integer> batches = new TreeSet<>(places.keySet());
        result.clusterings().forEach(c -> batches.addAll(c.clusterOfBatch().keySet()));
        List<String> head = new ArrayList<>(List.of("batch", "true place"));
        result.clusterings().forEach(c -> head.add("cluster: " + c.name()));
        List<List<String>> rows = new ArrayList<>();
        Path csv = report.sidecar(BATCH_CSV);
        try (BufferedWriter out = Files.newBufferedWriter(csv, StandardCharsets.UTF_8)) {
            out.write(head.stream().map(h -> h.replace(',', ';')).collect(Collectors.joining(",")) + "\n");
            for (int batch : batches) {
                List<String> row = new ArrayList<>(List.of(Integer.toString(batch), places.getOrDefault(batch, "")));
                // 0: the batch is in no cluster (filtered out or not kept by the pipeline).
                result.clusterings().forEach(c -> row.add(Integer.toString(c.clusterOfBatch().getOrDefault(batch, 0))));
                out.write(String.join(",", row) + "\n");
                if (rows.size() < BATCH_ROWS) {
                    rows.add(row);
                }
            }
        } catch (IOException e) {
            throw SimulatorError.io(csv, e);
        }
        report.subheading("Batches and their clusters (0: none)");
        if (batches.size() > rows.size()) {
            report.paragraph("The first " + rows.size() + " of " + batches.size() + " batches; all are in the CSV.");
        }
        report.link("Every batch: " + BATCH_CSV, BATCH_CSV);
        report.table(head, rows);
    }
}
