package com.android.server.qesta.sim;

import java.util.ArrayList;
import java.util.List;

/** What one replayed stall session showed, report by report, for the HTML report. */
final class StallSession {
    /** One call of handleReportStallInfo; kind 1 passes a frame detection result on. */
    record Callback(int value, int scene, int kind, boolean flag) {
        @Override
        public String toString() {
            return String.format("handleReportStallInfo(%d, %d, %d, %b)", value, scene, kind, flag);
        }
    }

    /** One report of the emulated module and what followed it. */
    record Pass(double timeS, long[] counts, long[] bytes, List<Integer> frames, Verdict verdict,
            List<Callback> callbacks, List<String> log) {}

    final String title;
    final int scene;
    final int intervalMs;
    final String[] countSeries;
    final String[] byteSeries;
    final List<Pass> passes = new ArrayList<>();
    final List<String> notes = new ArrayList<>();

    StallSession(String title, int scene, int intervalMs, String[] countSeries, String[] byteSeries) {
        this.title = title;
        this.scene = scene;
        this.intervalMs = intervalMs;
        this.countSeries = countSeries;
        this.byteSeries = byteSeries;
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
