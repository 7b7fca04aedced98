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
        // Headers first: a wrong file fails before the library starts.
        try (AutoCloseable check = video ? new StallTrace.Videos(tracePath) : new StallTrace.Calls(tracePath, 1, 1);
                StallTrace.Frames frames = new StallTrace.Frames(framesPath)) {
            // only opened
        } catch (SimulatorError e) {
            throw e;
        } catch (Exception e) {
            throw new IllegalStateException(e.getMessage(), e);
        }

        out.println("==== stall: scene " + scene + ", " + tracePath + " ====");
        StallReplay replay = new StallReplay("Scene " + scene + ": " + tracePath.getFileName(), scene,
                framesPath != null || scene == StallReplay.VIDEO_CALL, out, verbose, report, "stall");
        try {
            int interval = replay.interval();
            if (video && traceMs != null && traceMs != interval) {
                throw new SimulatorError("--interval " + traceMs + ": short-video reports come every " + interval
                        + " ms, one row each");
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
