package com.android.server.qesta.sim;

import java.util.List;

/**
 * What the stall detector made of one report. The library does not hand its
 * verdict to Java; the detectors log it (tag "Korun"), so it is read from the
 * lines logged while the report was processed.
 */
record Verdict(int level, String text) {
    static final int NONE = -1;  // warming up or report rejected: nothing to plot

    private static final String[] CALL_LEVELS = {"normal", "stall", "heavy"};
    private static final String[] SHORT_VIDEO_LEVELS = {"normal", "shortfall", "stall"};

    /** Names of the levels, for the chart's axis. */
    static String[] levels(int scene) {
        return StallReplay.isShortVideo(scene) ? SHORT_VIDEO_LEVELS : CALL_LEVELS;
    }

    static Verdict of(int scene, List<String> lines) {
        if (has(lines, "We get the other owner's report") || has(lines, "We hope get") || has(lines, "invalid command")
                || has(lines, "Invalid index")) {
            return new Verdict(NONE, "report rejected");
        }
        if (StallReplay.isShortVideo(scene)) {
            if (has(lines, "DouyYin detect stall")) {
                return new Verdict(2, "stall declared");
            }
            if (has(lines, "think")) {  // "thinks it as stall", "think as stall", "think it as stall"
                return new Verdict(1, "shortfall marked");
            }
            return new Verdict(0, has(lines, "Detect a local request") ? "new request" : "normal");
        }
        if (has(lines, "wait for enough feature")) {
            return new Verdict(NONE, "warming up");
        }
        if (has(lines, "TP is not enough") || has(lines, "Audio detection stall")) {
            return new Verdict(1, "stall: throughput too low");
        }
        if (has(lines, "TP satisfy") || scene != StallReplay.VIDEO_CALL) {
            return new Verdict(0, "normal");
        }
        return new Verdict(2, "heavy traffic");  // the video detector logs nothing for it
    }

    private static boolean has(List<String> lines, String text) {
        return lines.stream().anyMatch(line -> line.contains("/Korun: ") && line.contains(text));
    }
}
