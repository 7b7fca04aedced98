package com.android.server.qesta.sim;

import java.io.PrintStream;
import java.nio.file.Path;

/** The stall command: a trace file (and frame results) streamed through a session of one scene. */
final class StallCommand {
    private StallCommand() {}

    static StallSession run(Options options, PrintStream out, boolean verbose, Report report)
            throws InterruptedException {
        int scene = options.integer("--scene", 0, Integer.MAX_VALUE);
        if (!StallReplay.isKnownScene(scene)) {
            throw new SimulatorError("--scene " + scene + ": unknown scene (known: " + Help.SCENES + ")");
        }
        Path tracePath = options.inputFile("--trace");
        Path framesPath = options.has("--frames") ? options.inputFile("--frames") : null;
        Integer traceMs = options.has("--interval") ? options.integer("--interval", 1, 3_600_000) : null;
        boolean video = StallReplay.isShortVideo(scene);
        if (framesPath != null && scene != StallReplay.VIDEO_CALL) {
            Notices.warn("--frames " + framesPath + ": only scene " + StallReplay.VIDEO_CALL + " has a frame-detection "
                    + "rule; the results are delivered to the library, but nothing of scene " + scene + " reads them");
        }
        int reportMs = StallReplay.reportInterval(scene);
        if (traceMs != null && (video ? traceMs != reportMs : reportMs % traceMs != 0)) {
            throw new SimulatorError("--interval " + traceMs + ": the library asks for a report every " + reportMs
                    + " ms in scene " + scene + (video ? ", one row each" : "; give a trace interval that divides it"));
        }
        // The whole input is checked before the library starts: a bad line deep in a long trace fails at once.
        check(tracePath, video, traceMs != null ? traceMs : 1, framesPath);
        out.println("==== stall: scene " + scene + ", " + tracePath + " ====");
        StallReplay replay = new StallReplay("Scene " + scene + ": " + tracePath.getFileName(), scene,
                framesPath != null || scene == StallReplay.VIDEO_CALL, out, verbose, report, "stall");
        try {
            int interval = replay.interval();
            if (interval != reportMs) {
                throw new IllegalStateException("the library asked for a report every " + interval + " ms in scene "
                        + scene + ", not the " + reportMs + " ms its detector uses");
            }
            try (StallTrace.Frames frames = new StallTrace.Frames(framesPath);
                    Progress progress = new Progress("replaying " + tracePath)) {
                if (video) {
                    replayVideos(replay, new StallTrace.Videos(tracePath), frames, progress);
                } else {
                    replayCalls(replay, tracePath, traceMs != null ? traceMs : interval, frames, progress);
                }
                long[] late = frames.undelivered();
                if (late != null) {
                    Notices.warn(framesPath + ":" + late[1] + ": " + late[0] + " frame result(s) from this line on "
                            + "come at or after the trace's end (" + replay.session().passes() * interval
                            + " ms) and were not delivered");
                }
            }
        } finally {
            replay.finish();
        }
        return replay.session();
    }

    /** Reads every row once, as the replay will. */
    private static void check(Path tracePath, boolean video, int traceMs, Path framesPath) {
        try (Progress progress = new Progress("checking " + tracePath)) {
            if (video) {
                try (StallTrace.Videos videos = new StallTrace.Videos(tracePath)) {
                    while (videos.next() != null) {
                        progress.update(() -> String.format("%.0f%%", 100 * videos.fractionRead()));
                    }
                }
            } else {
                // Rows one by one: the sums per report are checked again as they are replayed.
                try (StallTrace.Calls calls = new StallTrace.Calls(tracePath, traceMs, traceMs)) {
                    while (calls.next() != null) {
                        progress.update(() -> String.format("%.0f%%", 100 * calls.fractionRead()));
                    }
                }
            }
            try (StallTrace.Frames frames = new StallTrace.Frames(framesPath)) {
                frames.undelivered();  // reads to the end
            }
        }
    }

    private static void replayCalls(StallReplay replay, Path tracePath, int traceMs, StallTrace.Frames frames,
            Progress progress) throws InterruptedException {
        int interval = replay.interval();
        try (StallTrace.Calls calls = new StallTrace.Calls(tracePath, traceMs, interval)) {
            for (StallTrace.Throughput row; (row = calls.next()) != null; ) {
                replay.feed(row, frames.before(replay.session().passes() * interval + interval));
                progress.update(() -> state(replay, calls.fractionRead()));
            }
            if (calls.leftOver() > 0) {
                Notices.warn(tracePath + ":" + calls.leftOverLine() + ": the last " + calls.leftOver() + " row(s) "
                        + "do not fill a " + interval + " ms report (" + interval / traceMs + " rows of " + traceMs
                        + " ms) and were not replayed");
            }
        }
    }

    private static void replayVideos(StallReplay replay, StallTrace.Videos videos, StallTrace.Frames frames,
            Progress progress) throws InterruptedException {
        int interval = replay.interval();
        try (videos) {
            for (StallTrace.ShortVideo row; (row = videos.next()) != null; ) {
                replay.feed(row, frames.before(replay.session().passes() * interval + interval));
                progress.update(() -> state(replay, videos.fractionRead()));
            }
        }
    }

    private static String state(StallReplay replay, double fraction) {
        return String.format("%.0f%% of the trace, %d reports, %d callbacks", 100 * fraction,
                replay.session().passes(), replay.session().callbacks());
    }
}
