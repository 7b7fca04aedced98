package com.android.server.qesta.sim;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Collectors;

/** The report's section for each stall session and each clustering run. */
final class ReportSections {
    private static final int WIDTH = 1000;
    private static final int TIMELINE_HEIGHT = 640;
    private static final int TIMELINE_FRAMES_HEIGHT = 780;
    private static final int MAP_HEIGHT = 700;
    private static final int BARS_HEIGHT = 520;

    private ReportSections() {}

    static void stall(Report report, StallSession session) {
        report.heading("Stall session — " + session.title);
        report.paragraph(Charts.thresholds(session) + ".");
        session.notes.forEach(report::paragraph);
        boolean frames = session.passes.stream().anyMatch(pass -> !pass.frames().isEmpty());
        report.chart(Charts.timeline(session), WIDTH, frames ? TIMELINE_FRAMES_HEIGHT : TIMELINE_HEIGHT,
                "timeline of scene " + session.scene);
        List<String> head = new ArrayList<>(List.of("t (s)"));
        head.addAll(Arrays.asList(session.countSeries));
        head.addAll(Arrays.asList(session.byteSeries));
        head.addAll(List.of("frame service", "detector verdict", "callbacks", "stall engine log"));
        List<List<String>> rows = new ArrayList<>();
        for (StallSession.Pass pass : session.passes) {
            List<String> row = new ArrayList<>(List.of(String.format("%.0f", pass.timeS())));
            Arrays.stream(pass.counts()).forEach(value -> row.add(Long.toString(value)));
            Arrays.stream(pass.bytes()).forEach(value -> row.add(Long.toString(value)));
            row.add(pass.frames().stream().map(String::valueOf).collect(Collectors.joining(" ")));
            row.add(pass.verdict().text());
            row.add(pass.callbacks().stream().map(Object::toString).collect(Collectors.joining("\n")));
            row.add(pass.log().stream().filter(line -> line.contains("/Korun: ")).collect(Collectors.joining("\n")));
            rows.add(row);
        }
        report.table(head, rows);
    }

    static void clustering(Report report, ClusterRun.Result result) {
        ClusterInput input = result.input();
        report.heading("Clustering — " + input.source);
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
}
