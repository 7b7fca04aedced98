package com.android.server.qesta.sim;

import com.android.server.qesta.ZvQestaJniAdapter;
import com.android.server.qesta.wavemapping.modelservice.TrainModelService;

import java.io.IOException;
import java.io.PrintStream;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/**
 * The three clustering pipelines on one set of scans, each through the model
 * service and the adapter class, with the clusters scored against the ground
 * truth (purity and adjusted Rand index) where there is one.
 */
final class ClusterRun {
    /** The parameter keys the pipelines read, the stage that reads each, and its default. */
    static final String[][] READ = {
        {"deleteFlag", "selection", "1"}, {"minBssidCount", "selection", "3"},
        {"minDistinctValue", "selection", "5.0 (number)"}, {"minStdev", "selection", "5.0 dB (number)"},
        {"threshold", "selection", "-80 dBm"}, {"minMeanRssi", "selection", "-80 dBm"},
        {"lowerBound", "selection", "-70 dBm"}, {"reprMinOcc", "selection", "5"},
        {"isMainAp", "selection", "0 (0 or 1)"}, {"maxBssidNum", "selection", "1000"},
        {"maxDist", "graph clustering", "100"}, {"shareRatioParam", "graph clustering", "0.66 (number)"},
        {"connectedStrength", "graph clustering", "0.2 (number)"}, {"weightParam", "batch clustering", "0.3 (number)"},
        {"minFreq", "batch clustering", "5"}};
    /** Keys the library accepts but no pipeline reads: a warning, not an error. */
    static final Set<String> UNREAD = Set.of("batchID", "labelID", "timestampID", "linkSpeedID", "bssidStart",
            "cellIDStart", "nClusters", "minSampleRatio", "minRange", "codeType");
    private static final Set<String> PARAMS = Stream.concat(Arrays.stream(READ).map(r -> r[0]), UNREAD.stream())
            .collect(Collectors.toSet());
    private static final Set<String> FLOAT_PARAMS = Set.of("minSampleRatio", "weightParam", "shareRatioParam",
            "minDistinctValue", "minStdev", "connectedStrength");
    private static final int FIXED_COLUMNS = 5;  // orginBatch,batch,label,timestamp,link_speed of the core text

    /** One cluster of a model: its scans and the place most of them were taken at. */
    record Cluster(int label, int scans, String place, int placeScans) {}

    /** One clustering pipeline's model, scored. */
    record Clustering(String name, int kept, Map<Integer, Integer> clusterOfBatch, List<Cluster> clusters,
            Map<Integer, Map<String, Integer>> placesOfCluster, int places, double purity, double ari) {}

    /** Everything the run showed, for the HTML report. */
    record Result(ClusterInput input, List<String> params, List<String> selected, int coreScans,
            List<Clustering> clusterings) {}

    private ClusterRun() {}

    static String[] checkParams(List<String> params) {
        for (String param : params) {
            String[] kv = param.split("=", 2);
            if (kv.length != 2 || !PARAMS.contains(kv[0])) {
                throw new SimulatorError("unknown parameter '" + param + "' (keys: " + String.join(" ",
                        PARAMS.stream().sorted().toList()) + ")");
            }
            try {
                if (FLOAT_PARAMS.contains(kv[0])) {
                    Float.parseFloat(kv[1]);
                } else {
                    Integer.parseInt(kv[1]);
                }
            } catch (NumberFormatException e) {
                throw new SimulatorError("parameter '" + param + "': not a "
                        + (FLOAT_PARAMS.contains(kv[0]) ? "number" : "whole number"));
            }
        }
        return params.toArray(new String[0]);
    }

    /** Warns of each parameter the library accepts but no pipeline reads. */
    static void warnUnread(List<String> params) {
        for (String param : params) {
            if (UNREAD.contains(param.split("=", 2)[0])) {
                Notices.warn("--param " + param + ": the library accepts this key, but no pipeline reads it; "
                        + "the run is the same without it");
            }
        }
    }

    /** The cluster command: UJIIndoorLoc export or rows file, optional truth and parameters. */
    static Result command(Options options, PrintStream out) throws IOException, InterruptedException {
        if (options.has("--uji") == options.has("--rows")) {
            throw new SimulatorError("give one of --uji FILE or --rows FILE");
        }
        if (options.has("--truth") && !options.has("--rows")) {
            throw new SimulatorError("--truth goes with --rows");
        }
        checkParams(options.all("--param"));
        warnUnread(options.all("--param"));
        ClusterInput input = options.has("--uji") ? ClusterInput.uji(options.inputFile("--uji"))
                : ClusterInput.rows(options.inputFile("--rows"),
                        options.has("--truth") ? options.inputFile("--truth") : null);
        out.println("==== cluster: " + input.source + " ====");
        out.println("-- " + input.scanCount() + " scans, " + input.bssidCount() + " BSSIDs"
                + (input.placeOfBatch.isEmpty() ? ", no ground truth" : ""));
        return run(input, options.all("--param"), out);
    }

    static Result run(ClusterInput input, List<String> paramList, PrintStream out) {
        String[] params = checkParams(paramList);
        TrainModelService service = new TrainModelService();
        ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();

        Text core = call("nativeGetWmpCoreTrainData", service::nativeGetWmpCoreTrainData,
                adapter::nativeGetWmpCoreTrainData, input, params);
        String[] coreLines = core.text().isEmpty() ? new String[0] : core.text().split(";");
        List<String> selected = coreLines.length == 0 ? List.of()
                : Arrays.asList(coreLines[0].split(",")).subList(FIXED_COLUMNS, coreLines[0].split(",").length);
        int coreScans = Math.max(coreLines.length - 1, 0);
        out.printf(" nativeGetWmpCoreTrainData: %d of %d BSSIDs selected, %d scans kept (%.1f ms)%s%n",
                selected.size(), input.bssidCount(), coreScans, core.ms(), core.agreement());
        out.println("   selected: " + (selected.isEmpty() ? "none" : String.join(" ", selected)));

        List<Clustering> clusterings = new ArrayList<>();
        clusterings.add(score(out, "nativeWmpCoreTrainData (all BSSIDs)", input,
                call("nativeWmpCoreTrainData", service::nativeWmpCoreTrainData, adapter::nativeWmpCoreTrainData,
                        input, params)));
        clusterings.add(score(out, "wmpCoreClusterData (selected BSSIDs)", input,
                call("wmpCoreClusterData", service::wmpCoreClusterData, adapter::nativeWmpCoreClusterData,
                        input, params)));
        LibraryLog.take();
        return new Result(input, paramList, selected, coreScans, clusterings);
    }

    /** A clustering native of one of the two Java classes. */
    private interface Pipeline {
        String call(String[] rows, String[] params);
    }

    /** A pipeline's text, how long the model service took, and whether the adapter gave the same. */
    private record Text(String text, double ms, boolean same) {
        String agreement() {
            return same ? ", the same through the adapter" : ", DIFFERENT through the adapter";
        }
    }

    /** One pipeline through the model service, then through the adapter class. */
    private static Text call(String name, Pipeline service, Pipeline adapter, ClusterInput input, String[] params) {
        try (Progress progress = Progress.ticking(name + " on " + input.scanCount() + " scans")) {
            long start = System.nanoTime();
            String text = service.call(input.rows, params);
            double ms = (System.nanoTime() - start) / 1e6;
            return new Text(text, ms, text.equals(adapter.call(input.rows, params)));
        }
    }

    /** Reads the model text's records ("batch,...,prelabel;") and scores them against the truth. */
    private static Clustering score(PrintStream out, String name, ClusterInput input, Text model) {
        out.printf("-- %s: %d chars of model text (%.1f ms)%s%n", name, model.text().length(), model.ms(),
                model.agreement());
        boolean truth = !input.placeOfBatch.isEmpty();
        Map<Integer, Integer> clusterOfBatch = new TreeMap<>();
        Map<Integer, Map<String, Integer>> byCluster = new TreeMap<>();
        Map<String, Integer> byPlace = new TreeMap<>();
        int kept = 0;
        String[] lines = model.text().split(";");
        for (int i = 1; i < lines.length; i++) {
            String[] fields = lines[i].split(",", -1);
            int batch = Integer.parseInt(fields[0]);
            int cluster = Integer.parseInt(fields[fields.length - 1]);
            clusterOfBatch.put(batch, cluster);
            String place = truth ? input.placeOfBatch.get(batch) : "";
            if (place == null) {
                continue;  // a batch the truth does not know
            }
            kept++;
            byCluster.computeIfAbsent(cluster, c -> new TreeMap<>()).merge(place, 1, Integer::sum);
            byPlace.merge(place, 1, Integer::sum);
        }
        List<Cluster> clusters = new ArrayList<>();
        double agreeing = 0;
        double pairsInCells = 0;
        double pairsInClusters = 0;
        for (Map.Entry<Integer, Map<String, Integer>> entry : byCluster.entrySet()) {
            Map.Entry<String, Integer> top = entry.getValue().entrySet().stream()
                    .max(Map.Entry.comparingByValue()).orElseThrow();
            int size = entry.getValue().values().stream().mapToInt(Integer::intValue).sum();
            clusters.add(new Cluster(entry.getKey(), size, top.getKey(), top.getValue()));
            agreeing += top.getValue();
            pairsInClusters += pairs(size);
            pairsInCells += entry.getValue().values().stream().mapToDouble(ClusterRun::pairs).sum();
        }
        double pairsInPlaces = byPlace.values().stream().mapToDouble(ClusterRun::pairs).sum();
        double purity = kept == 0 ? 0.0 : agreeing / kept;
        double ari = adjustedRandIndex(pairsInCells, pairsInClusters, pairsInPlaces, kept);
        for (Cluster cluster : clusters) {
            out.println(truth ? String.format("   cluster %d: %d scans, %d of them at place %s", cluster.label(),
                    cluster.scans(), cluster.placeScans(), cluster.place())
                    : String.format("   cluster %d: %d scans", cluster.label(), cluster.scans()));
        }
        out.println(truth ? String.format("   scans %d, kept %d, places %d, clusters %d, purity %.3f, ARI %.3f",
                input.scanCount(), kept, byPlace.size(), clusters.size(), purity, ari)
                : String.format("   scans %d, kept %d, clusters %d (no ground truth)", input.scanCount(), kept,
                        clusters.size()));
        return new Clustering(name, kept, clusterOfBatch, clusters, byCluster, truth ? byPlace.size() : 0, purity,
                ari);
    }

    private static double pairs(double n) {
        return n * (n - 1) / 2;
    }

    /** Adjusted Rand index from the pair counts of the contingency table (1 for identical partitions). */
    private static double adjustedRandIndex(double inCells, double inClusters, double inPlaces, int n) {
        if (n < 2) {
            return 1.0;
        }
        double expected = inClusters * inPlaces / pairs(n);
        double maximum = (inClusters + inPlaces) / 2;
        return maximum == expected ? 1.0 : (inCells - expected) / (maximum - expected);
    }
}
