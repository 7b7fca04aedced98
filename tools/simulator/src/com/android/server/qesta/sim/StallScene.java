package com.android.server.qesta.sim;

import java.io.PrintStream;
import java.util.List;

/**
 * A video call whose throughput collapses: the service starts stall detection,
 * the emulated stall-detection module reports every two seconds, the
 * frame-detection service reports dropped frames, and the callbacks the Java
 * side receives are printed as they arrive.
 */
public final class StallScene {
    private StallScene() {}

    static StallSession run(PrintStream out, boolean verbose, Report report) throws InterruptedException {
        StallReplay replay = new StallReplay("Demo: a video call whose throughput collapses", StallReplay.VIDEO_CALL,
                true, out, verbose, report, "demo-stall");
        out.println("-- healthy call: about 110 packets per 2 s");
        for (int i = 0; i < 3; i++) {
            feed(replay, 110, 24000, 6000, 0);
        }
        out.println("-- a burst of video: heavy traffic, frame drops held back");
        feed(replay, 150, 90000, 9000, 2);
        feed(replay, 150, 90000, 9000, 2);
        out.println("-- throughput collapses: few packets, the game service sees dropped frames");
        feed(replay, 40, 3000, 800, 4);
        feed(replay, 25, 2000, 500, 6);
        feed(replay, 30, 2500, 600, 0);
        out.println("-- the link goes silent");
        for (int i = 0; i < 4; i++) {
            feed(replay, 0, 0, 0, 0);
        }
        return replay.finish();
    }

    private static void feed(StallReplay replay, int packets, int inBytes, int outBytes, int droppedFrames)
            throws InterruptedException {
        replay.feed(new StallTrace.Throughput(packets, packets / 2, inBytes, outBytes),
                droppedFrames != 0 ? List.of(droppedFrames) : List.of());
    }
}
