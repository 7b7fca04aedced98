package com.android.server.qesta.sim;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
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
    private static final String NOT_HEARD = "100";  // UJIIndoorLoc's level of an access point not heard
    private static final long MAX_GAP_S = 300;  // a longer pause of a phone starts a new batch
    private static final long LEVEL_MIN = -200;
    private static final long LEVEL_MAX = 100;

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
     * A UJIIndoorLoc export: one batch per run of scans of one phone on one
     * floor of one building, in time order; access points not heard read 0.
     */
    static ClusterInput uji(Path path) {
        CsvFile csv = CsvFile.read(path);
        List<Integer> waps = new ArrayList<>();
        for (int i = 0; i < csv.header.length; i++) {
            if (csv.header[i].startsWith("WAP")) {
                waps.add(i);
            }
        }
        if (waps.isEmpty()) {
            throw SimulatorError.at(path, 1, 1, "no WAP columns: not a UJIIndoorLoc export");
        }
        int x = csv.column("LONGITUDE");
        int y = csv.column("LATITUDE");
        int floor = csv.column("FLOOR");
        int building = csv.column("BUILDINGID");
        int phone = csv.column("PHONEID");
        int time = csv.column("TIMESTAMP");
        for (CsvFile.Row row : csv.rows) {
            for (int column : waps) {
                csv.integer(row, column, LEVEL_MIN, LEVEL_MAX);
            }
            csv.number(row, x);
            csv.number(row, y);
            csv.integer(row, floor, 0, Integer.MAX_VALUE);
            csv.integer(row, building, 0, Integer.MAX_VALUE);
            csv.integer(row, phone, 0, Integer.MAX_VALUE);
            csv.integer(row, time, 0, Long.MAX_VALUE);
        }
        List<CsvFile.Row> ordered = new ArrayList<>(csv.rows);
        ordered.sort(Comparator.comparingLong((CsvFile.Row r) -> csv.integer(r, phone, 0, Integer.MAX_VALUE))
                .thenComparingLong(r -> csv.integer(r, time, 0, Long.MAX_VALUE)));

        StringBuilder header = new StringBuilder(String.join(",", FIXED));
        for (int column : waps) {
            header.append(',').append(csv.header[column]);
        }
        List<String> rows = new ArrayList<>(List.of(header.toString()));
        Map<Integer, String> placeOfBatch = new HashMap<>();
        List<Scan> scans = new ArrayList<>();
        int batch = 0;
        String[] previous = null;
        for (CsvFile.Row row : ordered) {
            String[] f = row.fields();
            String place = "b" + f[building].trim() + "f" + f[floor].trim();
            if (previous == null || !f[phone].equals(previous[phone]) || !f[building].equals(previous[building])
                    || !f[floor].equals(previous[floor])
                    || Long.parseLong(f[time].trim()) - Long.parseLong(previous[time].trim()) > MAX_GAP_S) {
                placeOfBatch.put(++batch, place);
            }
            previous = f;
            StringBuilder line = new StringBuilder(batch + "," + batch + "," + place + "," + f[time].trim() + ",0");
            for (int column : waps) {
                line.append(',').append(f[column].trim().equals(NOT_HEARD) ? "0" : f[column].trim());
            }
            rows.add(line.toString());
            scans.add(new Scan(batch, csv.number(row, x), csv.number(row, y), place));
        }
        return new ClusterInput(path.toString(), rows.toArray(new String[0]), placeOfBatch, scans);
    }

    /** Rows in the library's own format; {@code truth} (or null) gives the place of each orginBatch. */
    static ClusterInput rows(Path path, Path truth) {
        CsvFile csv = CsvFile.read(path);
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
        List<String> rows = new ArrayList<>(List.of(String.join(",", csv.header)));
        for (CsvFile.Row row : csv.rows) {
            csv.integer(row, batch, Integer.MIN_VALUE, Integer.MAX_VALUE);
            if (orgin >= 0) {
                csv.integer(row, orgin, Integer.MIN_VALUE, Integer.MAX_VALUE);
            }
            for (int column : bssids) {
                csv.number(row, column);
            }
            rows.add(String.join(",", row.fields()));
        }
        if (rows.size() < 2) {
            throw SimulatorError.at(path, 2, 1, "no scans after the header");
        }
        return new ClusterInput(path.toString(), rows.toArray(new String[0]),
                truth == null ? Map.of() : readTruth(truth), List.of());
    }

    /** "batch place" lines, as fingerprint_gen writes them. */
    private static Map<Integer, String> readTruth(Path path) {
        List<String> lines;
        try {
            lines = Files.readAllLines(path, StandardCharsets.UTF_8);
        } catch (IOException e) {
            throw new SimulatorError(path + ": " + e.getMessage());
        }
        Map<Integer, String> placeOfBatch = new HashMap<>();
        for (int i = 0; i < lines.size(); i++) {
            if (lines.get(i).isBlank()) {
                continue;
            }
            String[] words = lines.get(i).trim().split("\\s+");
            if (words.length != 2) {
                throw SimulatorError.at(path, i + 1, 1, "expected 'batch place', got '" + lines.get(i) + "'");
            }
            try {
                placeOfBatch.put(Integer.parseInt(words[0]), words[1]);
            } catch (NumberFormatException e) {
                throw SimulatorError.at(path, i + 1, 1, "batch '" + words[0] + "' is not a whole number");
            }
        }
        return placeOfBatch;
    }
}
