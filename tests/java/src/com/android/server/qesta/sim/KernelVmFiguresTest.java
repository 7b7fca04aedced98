package com.android.server.qesta.sim;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/**
 * What the real-kernel replay reads and compares without a VM: the entry a
 * short-video report carried, taken from the library's line for it; when a
 * report counts as what was sent and as the trace's own row; and the trace
 * a video server can serve.
 */
class KernelVmFiguresTest {
    private static final KernelVm.Session NONE = new KernelVm.Session(2, 1000, 1, 0, 0, 0, 0, 0, 2);

    @TempDir Path dir;

    @Test
    void theEntryIsTheLibrarysLineForTheReport() {
        Object[][] cases = {
            // log lines, the entry (null: none under detection)
            {List.of("3/Korun: mStep=2, mStepMax=10, mClock=1000", "4/Korun: detect_index=0, valid_num=1, "
                    + "l_inbytes=250000, total=1000000, video=v-slow, dur=10, timescale=1"),
                new KernelVmVideo.Entry(250000, 1000000, "v-slow", 10, 1)},
            {List.of("4/Korun: detect_index=9, valid_num=10, l_inbytes=4294967295, total=18446744073709551615, "
                    + "video=a, b, dur=-1, timescale=0"), new KernelVmVideo.Entry(4294967295L, -1, "a, b", -1, 0)},
            {List.of("4/Korun: Detect a local request(mStep=1, mClock=0)"), null},
            {List.of(), null},
        };
        for (Object[] c : cases) {
            @SuppressWarnings("unchecked")
            List<String> log = (List<String>) c[0];
            assertEquals(c[1], KernelVmVideo.Entry.of(log), log.toString());
        }
    }

    @Test
    void aCallReportMatchesWhatWasSentAndIsExactWhenThatIsTheTrace() {
        long[][] cases = {
            // trace in/out packets and bytes, sent in/out packets and IP bytes, module in/out packets and bytes,
            // then matches, exact (1 = yes)
            {50, 25, 12000, 3000, 50, 25, 12000, 3000, 50, 25, 12000, 3000, 1, 1},
            {10, 5, 10, 5000, 10, 5, 280, 5000, 10, 5, 280, 5000, 1, 0},   // below the headers' 28 bytes a packet
            {50, 25, 12000, 3000, 50, 25, 12000, 3000, 0, 25, 0, 3000, 0, 1},  // inbound missed the report
            {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 60, 0, 1},                     // stray bytes counted
        };
        for (long[] c : cases) {
            KernelVmStall.Interval i = new KernelVmStall.Interval(1000, new StallTrace.Throughput(c[0], c[1], c[2],
                    c[3]), new KernelVmTraffic.Sent(c[4], c[6], 0), new KernelVmTraffic.Sent(c[5], c[7], 0),
                    new KernelVm.Session(1, 1000, 1, c[8], c[9], c[10], c[11], 0, 0), false);
            assertEquals(c[12] == 1, i.matches(), () -> java.util.Arrays.toString(c));
            assertEquals(c[13] == 1, i.exact(), () -> java.util.Arrays.toString(c));
        }
    }

    @Test
    void aVideoReportMatchesOnlyWithTheTracesSizeTimescaleAndDuration() {
        StallTrace.ShortVideo row = new StallTrace.ShortVideo(0, 0, 1, 2, "v", 0, 1000000, 0, 300000, 1, 10);
        Object[][] cases = {
            // the entry reported, matches
            {new KernelVmVideo.Entry(300000, 1000000, "v", 10, 1), true},
            {new KernelVmVideo.Entry(299999, 1000000, "v", 10, 1), false},
            {new KernelVmVideo.Entry(300000, 0, "v", 10, 1), false},
            {new KernelVmVideo.Entry(300000, 1000000, "v", 0, 0), false},
            {null, false},
        };
        for (Object[] c : cases) {
            KernelVmVideo.Interval i = new KernelVmVideo.Interval(1000, row, 300000, 300000, NONE,
                    (KernelVmVideo.Entry) c[0], false);
            assertEquals(c[1], i.matches(), String.valueOf(c[0]));
        }
    }

    @Test
    void aVideoTheServerCannotServeIsBadInputNamingItsLine() throws Exception {
        String head = String.join(",", StallTrace.SHORT_VIDEO) + "\n";
        String[][] cases = {
            // second row, the error's end
            {"0,0,1,2,v-2,0,1000000,0,100,1,10", null},
            {"0,0,1,2,v-2,0,0,0,100,1,10", ":3:5: --kernel vm serves each video over HTTP"},
            {"0,0,1,2,v&x,0,1000000,0,100,1,10", ":3:5: --kernel vm serves each video over HTTP"},
        };
        for (String[] c : cases) {
            Path trace = dir.resolve("trace.csv");
            Files.writeString(trace, head + "0,0,1,1,v-1,0,1000000,0,100,1,10\n" + c[0] + "\n");
            if (c[1] == null) {
                KernelVmVideo.check(trace);
                continue;
            }
            SimulatorError error = assertThrows(SimulatorError.class, () -> KernelVmVideo.check(trace));
            assertTrue(error.getMessage().contains(c[1]), error.getMessage());
        }
    }
}
