package com.android.server.qesta.sim;

import java.io.IOException;
import java.nio.charset.MalformedInputException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeSet;
import java.util.stream.Stream;

/**
 * Scans for the cluster command, as the library's rows (a header, then one
 * row per scan) with the ground truth where there is one: UJIIndoorLoc's
 * building and floor, or a truth file of "batch place" lines.
 */
final class ClusterInput {
    /** Where a scan was taken (UJIIndoorLoc only) and the batch it went into. */
    record Scan(int batch, double x, double y, String place) {}

    private static final String[] FIXED = {"orginBatch", "batch", "label", "timestamp", "link_speed"};

    final String source;
    final String[] rows;
    final Map<Integer, String> placeOfBatch;
    final List<Scan> scans;

    private ClusterInput(String source, String[] rows, Map<Integer, String> placeOfBatch, List<Scan> scans) {
        this.source = source;
        this.rows = rows;
        this.placeOfBatch = placeOfBatch;
        this.scans = scans;
    }

    /** The same scans under another name. */
    ClusterInput(String source, ClusterInput scans) {
        this(source, scans.rows, scans.placeOfBatch, scans.scans);
    }

    int scanCount() {
        return rows.length - 1;
    }

    int bssidCount() {
        return (int) Stream.of(rows[0].split(",")).filter(name -> !List.of(FIXED).contains(name)).count();
    }

    /**
     * A UJIIndoorLoc export, converted and checked by fingerprint_gen: one
     * batch per run of scans of one phone on one floor of one building, in
     * time order; access points not heard read 0. A batch's true place is the
     * building and floor its scans name ("b0f1").
     */
    static ClusterInput uji(Path path) throws IOException, InterruptedException {
        Path dir = Files.createTempDirectory("uji");
        try {
            Path rows = dir.resolve("rows.txt");
            Path scans = dir.resolve("scans.txt");
            // The truth file numbers the places; the scans name them as the report shows them.
            FingerprintGen.run("uji", path.toString(), "--out", rows.toString(), "--truth",
                    dir.resolve("truth.txt").toString(), "--scans", scans.toString());
            List<Scan> scanList = new ArrayList<>();
            Map<Integer, String> placeOfBatch = new HashMap<>();
            for (String line : Files.readAllLines(scans, StandardCharsets.UTF_8)) {
                String[] f = line.split(" ");
                Scan scan = new Scan(Integer.parseInt(f[0]), Double.parseDouble(f[1]), Double.parseDouble(f[2]), f[3]);
                scanList.add(scan);
                placeOfBatch.put(scan.batch(), scan.place());
            }
            return new ClusterInput(path.toString(),
                    Files.readAllLines(rows, StandardCharsets.UTF_8).toArray(new String[0]), placeOfBatch, scanList);
        } finally {
            Report.deleteTree(dir);
        }
    }

    /** Rows in the library's own format; {@code truth} (or null) gives the place of each orginBatch. */
    static ClusterInput rows(Path path, Path truth) {
        List<String> rows = new ArrayList<>();
        Set<Integer> batches = new TreeSet<>();
        try (CsvFile csv = CsvFile.open(path); Progress progress = new Progress("reading " + path)) {
            int batch = csv.column("batch");
            int orgin = List.of(csv.header).indexOf("orginBatch");
            List<Integer> bssids = new ArrayList<>();
            for (int i = 0; i < csv.header.length; i++) {
                if (!List.of(FIXED).contains(csv.header[i])) {
                    bssids.add(i);
                }
            }
            if (bssids.isEmpty()) {
                throw SimulatorError.at(path, 1, csv.header.length + 1, "no BSSID columns after the fixed ones");
            }
            rows.add(String.join(",", csv.header));
            for (CsvFile.Row row; (row = csv.next()) != null; ) {
                long b = csv.integer(row, batch, Integer.MIN_VALUE, Integer.MAX_VALUE);
                // The model text carries orginBatch, which the truth names.
                batches.add((int) (orgin >= 0 ? csv.integer(row, orgin, Integer.MIN_VALUE, Integer.MAX_VALUE) : b));
                for (int column : bssids) {
                    csv.number(row, column);
                }
                rows.add(String.join(",", row.fields()));
                progress.update(() -> String.format("%.0f%%", 100 * csv.fractionRead()));
            }
            if (rows.size() < 2) {
                throw SimulatorError.at(path, csv.lines() + 1, 1, "no scans after the header");
            }
        }
        return new ClusterInput(path.toString(), rows.toArray(new String[0]),
                truth == null ? Map.of() : readTruth(truth, batches), List.of());
    }

    /** "batch place" lines, as fingerprint_gen writes them, checked against the batches of the rows. */
    private static Map<Integer, String> readTruth(Path path, Set<Integer> batches) {
        List<String> lines;
        try {
            lines = Files.readAllLines(path, StandardCharsets.UTF_8);
        } catch (MalformedInputException e) {
            throw new SimulatorError(path + ": not UTF-8 text (save the file as UTF-8 or plain ASCII)");
        } catch (IOException e) {
            throw SimulatorError.io(path, e);
        }
        Map<Integer, String> placeOfBatch = new HashMap<>();
        long unknown = 0;
        long firstUnknown = 0;
        for (int i = 0; i < lines.size(); i++) {
            if (lines.get(i).isBlank()) {
                continue;
            }
            String[] words = lines.get(i).trim().split("\\s+");
            if (words.length != 2) {
                throw SimulatorError.at(path, i + 1, 1, "expected 'batch place', got '" + lines.get(i) + "'");
            }
            int batch;
            try {
                batch = Integer.parseInt(words[0]);
            } catch (NumberFormatException e) {
                throw SimulatorError.at(path, i + 1, 1, "batch '" + words[0] + "' is not a whole number");
            }
            if (!batches.contains(batch)) {
                firstUnknown = unknown++ == 0 ? i + 1 : firstUnknown;
                continue;
            }
            placeOfBatch.put(batch, words[1]);
        }
        if (placeOfBatch.isEmpty()) {
            throw SimulatorError.at(path, Math.max(firstUnknown, 1), 1, lines.stream().allMatch(String::isBlank)
                    ? "no 'batch place' lines" : "names no batch of the rows (their orginBatch values)");
        }
        if (unknown > 0) {
            Notices.warn(path + ":" + firstUnknown + ": " + unknown + " line(s) name a batch the rows do not have; "
                    + "left out");
        }
        long untold = batches.stream().filter(b -> !placeOfBatch.containsKey(b)).count();
        if (untold > 0) {
            Notices.warn(path + ": " + untold + " batch(es) of the rows have no place here; their scans are "
                    + "clustered but left out of purity and adjusted Rand index");
        }
        return placeOfBatch;
    }
}
