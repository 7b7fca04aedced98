package com.android.server.qesta.sim;

import java.io.BufferedWriter;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.stream.Collectors;

/**
 * What one replayed stall session showed, taken report by report as the
 * replay streams: every report goes to a CSV beside the report, while the
 * page keeps only what stays small whatever the trace's length (charts'
 * envelopes, the episodes, counts and the first rows).
 */
final class StallSession implements AutoCloseable {
    /** One call of handleReportStallInfo(value, scene, kind, flag). */
    record Callback(int value, int scene, int kind, boolean flag) {
        @Override
        public String toString() {
            return String.format("handleReportStallInfo(%d, %d, %d, %b)", value, scene, kind, flag);
        }
    }

    /** One report of the emulated module and what followed it; {@code timeMs} is the end of its interval. */
    record Pass(long timeMs, long[] counts, long[] bytes, List<Integer> frames, Verdict verdict,
            List<Callback> callbacks, List<String> log) {}

    static final int ENVELOPE_BUCKETS = 1000;
    // Rows of the page's table: the first reports, then reports with a callback.
    static final int FIRST_ROWS = 60;
    static final int CALLBACK_ROWS = 140;

    final String title;
    final int scene;
    final int intervalMs;
    final String[] countSeries;
    final String[] byteSeries;
    final List<String> notes = new ArrayList<>();
    final List<Pass> shown = new ArrayList<>();
    final Map<String, Long> callbackCounts = new TreeMap<>();
    final Map<String, Long> verdictCounts = new TreeMap<>();
    final Envelope envelope;
    final Episodes episodes;
    final Path csv;
    final Path episodesCsv;
    private final BufferedWriter mRows;
    private final BufferedWriter mEpisodeRows;
    private long mPasses;
    private long mCallbackRows;
    private boolean mAnyFrames;

    StallSession(String title, int scene, int intervalMs, String[] countSeries, String[] byteSeries, Path csv,
            Path episodesCsv) {
        this.title = title;
        this.scene = scene;
        this.intervalMs = intervalMs;
        this.countSeries = countSeries;
        this.byteSeries = byteSeries;
        this.csv = csv;
        this.episodesCsv = episodesCsv;
        envelope = new Envelope(series(), ENVELOPE_BUCKETS);
        episodes = new Episodes(scene, this::writeEpisode);
        try {
            mRows = Files.newBufferedWriter(csv, StandardCharsets.UTF_8);
            mEpisodeRows = Files.newBufferedWriter(episodesCsv, StandardCharsets.UTF_8);
            List<String> head = new ArrayList<>(List.of("t_ms"));
            head.addAll(List.of(countSeries));
            head.addAll(List.of(byteSeries));
            head.addAll(List.of("frame_results", "verdict_level", "verdict", "callbacks"));
            mRows.write(String.join(",", head).replace(' ', '_') + "\n");
            mEpisodeRows.write("rule,start_ms,end_ms,duration_ms,detected_ms,callbacks,values\n");
        } catch (IOException e) {
            throw SimulatorError.io(csv.getParent(), e);
        }
    }

    /** Envelope series: the counts, the bytes, then these. */
    int verdictSeries() {
        return countSeries.length + byteSeries.length;
    }

    int frameSeries() {
        return verdictSeries() + 1;
    }

    /** Callbacks per report, of kind 0 and of kind 1. */
    int callbackSeries(int kind) {
        return verdictSeries() + 2 + kind;
    }

    private int series() {
        return verdictSeries() + 4;
    }

    long passes() {
        return mPasses;
    }

    boolean anyFrames() {
        return mAnyFrames;
    }

    long callbacks() {
        return callbackCounts.values().stream().mapToLong(Long::longValue).sum();
    }

    void add(Pass pass) {
        long index = mPasses++;
        for (int i = 0; i < pass.counts().length; i++) {
            envelope.add(index, i, pass.counts()[i]);
        }
        for (int i = 0; i < pass.bytes().length; i++) {
            envelope.add(index, countSeries.length + i, pass.bytes()[i]);
        }
        envelope.add(index, verdictSeries(), pass.verdict().level());
        for (int result : pass.frames()) {
            envelope.add(index, frameSeries(), result);
            mAnyFrames = true;
        }
        long[] kinds = new long[2];
        for (Callback call : pass.callbacks()) {
            kinds[call.kind() == 1 ? 1 : 0]++;
            callbackCounts.merge(String.format("(value %d, kind %d, flag %b)", call.value(), call.kind(), call.flag()),
                    1L, Long::sum);
        }
        envelope.add(index, callbackSeries(0), kinds[0]);
        envelope.add(index, callbackSeries(1), kinds[1]);
        verdictCounts.merge(pass.verdict().text(), 1L, Long::sum);
        boolean silent = !StallReplay.isShortVideo(scene) && pass.bytes()[0] + pass.bytes()[1] == 0;
        episodes.add(new Episodes.Report(pass.timeMs() - intervalMs, pass.timeMs(), silent,
                Verdict.isStall(scene, pass.verdict().level()), pass.callbacks()));
        if (index < FIRST_ROWS || (!pass.callbacks().isEmpty() && mCallbackRows++ < CALLBACK_ROWS)) {
            shown.add(pass);
        }
        writeRow(pass);
    }

    private void writeRow(Pass pass) {
        StringBuilder row = new StringBuilder().append(pass.timeMs());
        for (long value : pass.counts()) {
            row.append(',').append(value);
        }
        for (long value : pass.bytes()) {
            row.append(',').append(value);
        }
        row.append(',').append(pass.frames().stream().map(String::valueOf).collect(Collectors.joining(" ")))
                .append(',').append(pass.verdict().level())
                .append(',').append(pass.verdict().text().replace(',', ';'))
                .append(',').append(pass.callbacks().stream()
                        .map(c -> c.value() + "/" + c.scene() + "/" + c.kind() + "/" + c.flag())
                        .collect(Collectors.joining(" ")))
                .append('\n');
        try {
            mRows.write(row.toString());
        } catch (IOException e) {
            throw SimulatorError.io(csv, e);
        }
    }

    private void writeEpisode(Episodes.Episode e) {
        try {
            mEpisodeRows.write(String.format("%s,%d,%d,%d,%d,%d,%s%n", e.rule().label, e.startMs(), e.endMs(),
                    e.durationMs(), e.detectedMs(), e.callbacks(), e.values().replace(", ", " ")));
        } catch (IOException ex) {
            throw SimulatorError.io(episodesCsv, ex);
        }
    }

    /** Ends the episodes still open and closes the CSV files. */
    @Override
    public void close() {
        episodes.finish();
        try {
            mRows.close();
            mEpisodeRows.close();
        } catch (IOException e) {
            throw SimulatorError.io(csv, e);
        }
    }

    /**
     * The session's count threshold N: silent reports after which a call scene
     * reports a stall, and the least number of reports between two stalls the
     * generic rule passes on.
     */
    int countThreshold() {
        int span = scene == StallReplay.VOICE_CALL ? StallReplay.VOICE_SPAN_MS : StallReplay.CALL_SPAN_MS;
        return intervalMs > 0 ? span / intervalMs : 0;
    }

    /** Reports of "heavy" frame results held back before they are passed on; 0 where no frame rule runs. */
    int frameHoldReports() {
        return scene == StallReplay.VIDEO_CALL ? StallReplay.FRAME_HOLD : 0;
    }
}
