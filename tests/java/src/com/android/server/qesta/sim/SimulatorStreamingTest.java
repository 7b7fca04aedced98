package com.android.server.qesta.sim;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.List;

import org.junit.jupiter.api.Test;

/**
 * The parts of the simulator's streaming report that decide what a long
 * trace shows: the chart envelope, which must keep a single report's dip
 * however many reports share its bucket, and the episodes found as reports
 * stream by.
 */
class SimulatorStreamingTest {
    private static final int SCENE = StallReplay.VIDEO_CALL;
    private static final int INTERVAL_MS = 2000;
    private static final StallSession.Callback SILENCE = new StallSession.Callback(1, SCENE, 0, false);
    private static final StallSession.Callback FRAME = new StallSession.Callback(4, SCENE, 1, false);
    private static final StallSession.Callback DETECTOR = new StallSession.Callback(0, StallReplay.VOICE_CALL, 0,
            false);

    @Test
    void aSingleReportsExtremesSurviveEveryMergeOfTheEnvelope() {
        // reports, capacity, the odd report and its value (a dip or a spike among 100s)
        long[][] cases = {{5000, 100, 2500, 0}, {5000, 100, 2500, 999}, {7, 4, 0, 0}, {100_000, 1000, 99_999, 0}};
        for (long[] c : cases) {
            Envelope envelope = new Envelope(1, (int) c[1]);
            for (long i = 0; i < c[0]; i++) {
                envelope.add(i, 0, i == c[2] ? c[3] : 100);
            }
            assertTrue(envelope.buckets() <= c[1] && envelope.buckets() * envelope.perBucket() >= c[0],
                    envelope.buckets() + " buckets of " + envelope.perBucket());
            int odd = (int) (c[2] / envelope.perBucket());
            boolean dip = c[3] < 100;
            for (int b = 0; b < envelope.buckets(); b++) {
                assertEquals(b == odd ? c[3] : 100.0, dip ? envelope.min(0, b) : envelope.max(0, b), "bucket " + b);
            }
            long inOdd = Math.min(envelope.perBucket(), c[0] - envelope.firstReport(odd));
            assertEquals(100.0 * (inOdd - 1) + c[3], envelope.sum(0, odd), 1e-6);
        }
    }

    /**
     * One report per letter: s silent, S silent with a no-traffic callback, d
     * the detector's stall, D with a callback, f a frame callback, . healthy.
     */
    private static List<List<Object>> episodesOf(int scene, String reports) {
        List<List<Object>> found = new ArrayList<>();
        Episodes episodes = new Episodes(scene,
                e -> found.add(List.of(e.rule(), e.startMs(), e.endMs(), e.detectedMs(), e.callbacks())));
        for (int i = 0; i < reports.length(); i++) {
            char r = reports.charAt(i);
            List<StallSession.Callback> calls = switch (r) {
                case 'S' -> List.of(SILENCE);
                case 'D' -> List.of(DETECTOR);
                case 'f' -> List.of(FRAME);
                default -> List.of();
            };
            episodes.add(new Episodes.Report((long) i * INTERVAL_MS, (i + 1L) * INTERVAL_MS, r == 's' || r == 'S',
                    r == 'd' || r == 'D', calls));
        }
        episodes.finish();
        return found;
    }

    @Test
    void episodesStartWhereTheirCauseStartedAndEndWithIt() {
        Episodes.Rule silence = Episodes.Rule.NO_TRAFFIC;
        Episodes.Rule frames = Episodes.Rule.FRAMES;
        Object[][] cases = {
            // reports, scene, then per episode: rule, start, end, first callback (ms), callbacks
            {"...sssSSS..", SCENE, List.of(List.of(silence, 6000L, 18000L, 14000L, 3))},
            {"ssS.sS", SCENE, List.of(List.of(silence, 0L, 6000L, 6000L, 1), List.of(silence, 8000L, 12000L, 12000L, 1))},
            {"ssSsss", SCENE, List.of(List.of(silence, 0L, 12000L, 6000L, 1))},
            {".dddDddddD.", StallReplay.VOICE_CALL,
                List.of(List.of(Episodes.Rule.DETECTOR, 2000L, 20000L, 10000L, 2))},
            {".ff.f", SCENE, List.of(List.of(frames, 2000L, 6000L, 4000L, 2), List.of(frames, 8000L, 10000L, 10000L, 1))},
            {"ssss..dd..", SCENE, List.of()},
        };
        for (Object[] c : cases) {
            assertEquals(c[2], episodesOf((int) c[1], (String) c[0]), (String) c[0]);
        }
    }
}
