package com.android.server.qesta.sim;

import java.util.List;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * What the stall detector made of one report. The library does not hand its
 * verdict to Java; the detectors log it (tag "Korun"), so it is read from the
 * lines logged while the report was processed. {@code text} names the class
 * of verdict (the page counts them), {@code detail} the figures behind it.
 */
record Verdict(int level, String text, String detail) {
    static final int WARMING_UP = -1;  // too few reports yet for the detector's window
    static final int REJECTED = -2;    // the engine refused the report before any detector saw it

    private static final String KORUN = "/Korun: ";
    private static final Pattern WINDOW = Pattern.compile("2s packets:(-?\\d+), 2s total bytes: (-?\\d+)");
    private static final String[] CALL_LEVELS = {"rejected", "warming up", "0 normal", "1 stall", "2 heavy"};
    private static final String[] VIDEO_CALL_LEVELS = {"rejected", "warming up", "0 in band", "1 low/over",
        "2 heavy"};
    private static final String[] SHORT_VIDEO_LEVELS = {"rejected", "warming up", "normal", "shortfall",
        "stall"};

    /** Names of the levels from {@link #REJECTED} up, for the chart's axis. */
    static String[] levels(int scene) {
        if (StallReplay.isShortVideo(scene)) {
            return SHORT_VIDEO_LEVELS;
        }
        return scene == StallReplay.VIDEO_CALL ? VIDEO_CALL_LEVELS : CALL_LEVELS;
    }

    /** Whether a level is the detector's stall, the one the generic reporting rule passes on. */
    static boolean isStall(int scene, int level) {
        return StallReplay.isShortVideo(scene) ? level == 2 : level == 1;
    }

    static Verdict of(int scene, List<String> lines) {
        if (has(lines, "We get the other owner's report") || has(lines, "We hope get")
                || has(lines, "invalid command") || has(lines, "Invalid index")) {
            return new Verdict(REJECTED, "report rejected", line(lines, ""));
        }
        if (StallReplay.isShortVideo(scene)) {
            if (has(lines, "DouyYin detect stall")) {
                return new Verdict(2, "stall declared", line(lines, "detect stall("));
            }
            if (has(lines, "think")) {  // "thinks it as stall", "think as stall", "think it as stall"
                return new Verdict(1, "shortfall marked", line(lines, "think"));
            }
            return new Verdict(0, has(lines, "Detect a local request") ? "new request" : "normal", "");
        }
        if (has(lines, "wait for enough feature")) {
            return new Verdict(WARMING_UP, "warming up", line(lines, "wait for enough feature"));
        }
        if (scene == StallReplay.VOICE_CALL) {
            String tree = has(lines, "switch to 4G") ? "switched to the 4G tree" : "";
            return has(lines, "Audio detection stall") ? new Verdict(1, "stall (packet-count tree)", tree)
                    : new Verdict(0, "normal", tree);
        }
        Matcher window = WINDOW.matcher(line(lines, "2s packets:"));
        String figures = window.find() ? window.group(1) + " packets, " + window.group(2) + " bytes in the 2 s window"
                : "";
        if (has(lines, "TP is not enough")) {
            return new Verdict(1, "outside 100-120 packets with < 30000 bytes", figures);
        }
        if (has(lines, "TP satisfy")) {
            return new Verdict(0, "in band: 100-120 packets, < 30000 bytes", figures);
        }
        return new Verdict(2, "heavy: 121 packets or more", "");  // the video detector logs nothing for it
    }

    private static boolean has(List<String> lines, String text) {
        return lines.stream().anyMatch(line -> line.contains(KORUN) && line.contains(text));
    }

    /** The message of the first engine line containing {@code text}. */
    private static String line(List<String> lines, String text) {
        return lines.stream().filter(l -> l.contains(KORUN) && l.contains(text)).findFirst()
                .map(l -> l.substring(l.indexOf(KORUN) + KORUN.length()).strip()).orElse("");
    }
}
