package com.android.server.qesta.sim;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/**
 * Input files of the stall command: what the kernel's stall module reports per
 * interval (throughput for calls, the watched video's entry for short videos)
 * and what the frame-detection service delivers, each with a fixed header.
 */
final class StallTrace {
    static final String[] THROUGHPUT = {"in_pkts", "out_pkts", "in_bytes", "out_bytes"};
    static final String[] SHORT_VIDEO = {"detect_index", "cur_index", "valid_num", "detect_state", "video",
        "loaded_base", "total", "range_start", "in_bytes", "timescale", "dur"};
    static final String[] FRAMES = {"t_ms", "result"};

    private static final long U32_MAX = 0xFFFF_FFFFL;
    private static final int ENTRIES = 10;  // stall-info entries in a short-video report
    private static final int VIDEO_KEY_MAX = 39;  // 40-byte key field, NUL-terminated

    private StallTrace() {}

    /** One throughput report: counts of the last interval, as the module's 32-bit attributes carry them. */
    record Throughput(long inPkts, long outPkts, long inBytes, long outBytes) {}

    /** One short-video report with the entry under detection. */
    record ShortVideo(int detectIndex, long curIndex, long validNum, long detectState, String video,
            long loadedBase, long total, long rangeStart, long inBytes, int timescale, int dur) {
        long loaded() {
            return loadedBase + rangeStart + inBytes;
        }
    }

    /** A result of the frame-detection service, {@code timeMs} after the trace starts. */
    record Frame(long timeMs, int result) {}

    static List<Throughput> readThroughput(Path path) {
        CsvFile csv = CsvFile.read(path);
        csv.requireHeader(THROUGHPUT);
        List<Throughput> rows = new ArrayList<>();
        for (CsvFile.Row row : csv.rows) {
            rows.add(new Throughput(csv.integer(row, 0, 0, U32_MAX), csv.integer(row, 1, 0, U32_MAX),
                    csv.integer(row, 2, 0, U32_MAX), csv.integer(row, 3, 0, U32_MAX)));
        }
        return requireRows(csv, rows);
    }

    static List<ShortVideo> readShortVideo(Path path) {
        CsvFile csv = CsvFile.read(path);
        csv.requireHeader(SHORT_VIDEO);
        List<ShortVideo> rows = new ArrayList<>();
        for (CsvFile.Row row : csv.rows) {
            String video = row.fields()[4];
            if (video.length() > VIDEO_KEY_MAX) {
                throw SimulatorError.at(path, row.line(), 5, "video key longer than " + VIDEO_KEY_MAX + " characters");
            }
            rows.add(new ShortVideo((int) csv.integer(row, 0, 0, ENTRIES - 1), csv.integer(row, 1, 0, U32_MAX),
                    csv.integer(row, 2, 0, U32_MAX), csv.integer(row, 3, 0, U32_MAX), video,
                    csv.integer(row, 5, 0, Long.MAX_VALUE), csv.integer(row, 6, 0, Long.MAX_VALUE),
                    csv.integer(row, 7, 0, U32_MAX), csv.integer(row, 8, 0, U32_MAX),
                    (int) csv.integer(row, 9, Integer.MIN_VALUE, Integer.MAX_VALUE),
                    (int) csv.integer(row, 10, Integer.MIN_VALUE, Integer.MAX_VALUE)));
        }
        return requireRows(csv, rows);
    }

    static List<Frame> readFrames(Path path) {
        CsvFile csv = CsvFile.read(path);
        csv.requireHeader(FRAMES);
        List<Frame> frames = new ArrayList<>();
        long last = 0;
        for (CsvFile.Row row : csv.rows) {
            long time = csv.integer(row, 0, last, Long.MAX_VALUE);  // in time order
            frames.add(new Frame(time, (int) csv.integer(row, 1, Integer.MIN_VALUE, Integer.MAX_VALUE)));
            last = time;
        }
        return frames;
    }

    private static <T> List<T> requireRows(CsvFile csv, List<T> rows) {
        if (rows.isEmpty()) {
            throw SimulatorError.at(csv.path, 2, 1, "no reports after the header");
        }
        return rows;
    }

    /**
     * A throughput trace taken every {@code traceMs} as the module reports it every
     * {@code reportMs}: consecutive rows summed; a last, incomplete report is left out.
     */
    static List<Throughput> regroup(Path path, List<Throughput> rows, int traceMs, int reportMs) {
        if (traceMs <= 0 || reportMs % traceMs != 0) {
            throw new SimulatorError("--interval " + traceMs + ": the library asks for a report every " + reportMs
                    + " ms; give a trace interval that divides it");
        }
        int per = reportMs / traceMs;
        List<Throughput> reports = new ArrayList<>();
        for (int first = 0; first + per <= rows.size(); first += per) {
            long[] sum = new long[4];
            for (Throughput row : rows.subList(first, first + per)) {
                sum[0] += row.inPkts();
                sum[1] += row.outPkts();
                sum[2] += row.inBytes();
                sum[3] += row.outBytes();
            }
            for (int column = 0; column < sum.length; column++) {
                if (sum[column] > U32_MAX) {
                    throw SimulatorError.at(path, first + 2, column + 1, THROUGHPUT[column] + " of one " + reportMs
                            + " ms report exceeds " + U32_MAX);
                }
            }
            reports.add(new Throughput(sum[0], sum[1], sum[2], sum[3]));
        }
        if (reports.isEmpty()) {
            throw new SimulatorError(path + ": fewer rows than one " + reportMs + " ms report");
        }
        return reports;
    }
}
