package com.android.server.qesta;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;

/**
 * A video-call stall session end to end on the real stall module, in the test
 * VM: the app uid's UDP stream over wlan0 is counted by the kernel, reported
 * to the library's worker, and when the call's traffic stops (the app frozen)
 * the stall reaches Java through handleReportStallInfo; once it flows again
 * the reports stop. Dropping packets with tc is not enough: the kernel counts
 * what the app sends before any qdisc drops it, and sent bytes are traffic.
 */
class KernelStallSessionTest {
    private static final int START = 24;
    private static final int STOP = 25;
    private static final int UID = 10123;
    private static final int VIDEO_CALL = 100106;
    private static final int PORT = 7100;
    private static final long WAIT_MS = 30_000;
    private static final String TRAFFIC = System.getProperty("mqqoe.traffic");
    // Report intervals run this many times faster than real time.
    private static final String SPEED = "4";
    private static final Path DIVISOR = Path.of("/sys/module/zvkorun/parameters/time_divisor");
    private String savedDivisor;

    private record Callback(int value, int scene, int kind, boolean flag) {}

    private static final class Recorder implements ZvQestaJniAdapter.StallListener {
        final List<Callback> callbacks = new ArrayList<>();

        @Override
        public synchronized void onStall(int value, int scene, int kind, boolean flag) {
            callbacks.add(new Callback(value, scene, kind, flag));
            notifyAll();
        }

        synchronized List<Callback> await(int count) throws InterruptedException {
            long deadline = System.currentTimeMillis() + WAIT_MS;
            for (long left = WAIT_MS; callbacks.size() < count && left > 0; left = deadline - System.currentTimeMillis()) {
                wait(left);
            }
            return List.copyOf(callbacks);
        }

        synchronized int size() {
            return callbacks.size();
        }
    }

    private final ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();
    private final Recorder recorder = new Recorder();
    private final List<Process> processes = new ArrayList<>();

    private Process spawn(String... command) throws Exception {
        Process process = new ProcessBuilder(command).inheritIO().start();
        processes.add(process);
        return process;
    }

    private static void run(String... command) throws Exception {
        Process process = new ProcessBuilder(command).inheritIO().start();
        assertTrue(process.waitFor(10, TimeUnit.SECONDS), String.join(" ", command));
        assertEquals(0, process.exitValue(), String.join(" ", command));
    }

    /** Inbound bytes the worker has taken in so far. */
    private long inbound() {
        return adapter.nativeGetCurrTotalTraffic()[1];
    }

    /** Until the inbound total has grown past `floor`. */
    private void awaitTrafficAbove(long floor) throws InterruptedException {
        long deadline = System.currentTimeMillis() + WAIT_MS;
        while (inbound() <= floor) {
            assertTrue(System.currentTimeMillis() < deadline, "no counted traffic reached the worker");
            Thread.sleep(50);
        }
    }

    @BeforeEach
    void pace() throws Exception {
        savedDivisor = Files.readString(DIVISOR).trim();
        Files.writeString(DIVISOR, SPEED);
    }

    @AfterEach
    void cleanUp() throws Exception {
        adapter.nativeSendQoeStallDetectCmd(STOP, UID, VIDEO_CALL, 0, 0);
        Files.writeString(DIVISOR, savedDivisor);
        for (Process process : processes) {
            process.destroyForcibly().waitFor(10, TimeUnit.SECONDS);
        }
        ZvQestaJniAdapter.setStallListener(null);
    }

    @Test
    void lossOfTheCallsRealTrafficIsReportedAndItsReturnEndsTheReports() throws Exception {
        ZvQestaJniAdapter.setStallListener(recorder);
        spawn("ip", "netns", "exec", "peer", TRAFFIC, "udp-echo", Integer.toString(PORT));
        Process app = spawn(TRAFFIC, "udp-stream", Integer.toString(PORT), "200", "600");
        assertEquals(0, adapter.nativeSendQoeStallDetectCmd(START, UID, VIDEO_CALL, 0, 0));
        awaitTrafficAbove(0);
        long flowing = inbound();
        awaitTrafficAbove(flowing);  // two reports with traffic: nothing to say
        assertEquals(0, recorder.size());

        // The app freezes: from the third report without traffic on, each one is a stall.
        run("kill", "-STOP", Long.toString(app.pid()));
        List<Callback> stalls = recorder.await(2);
        assertEquals(List.of(new Callback(1, VIDEO_CALL, 0, false), new Callback(1, VIDEO_CALL, 0, false)),
                stalls.subList(0, 2));

        run("kill", "-CONT", Long.toString(app.pid()));
        long cut = inbound();
        awaitTrafficAbove(cut);
        int reported = recorder.size();
        awaitTrafficAbove(inbound());  // a further report with traffic adds no stall
        assertEquals(reported, recorder.size(), () -> Arrays.toString(recorder.callbacks.toArray()));
        assertTrue(adapter.nativeGetCurrTotalTraffic()[0] > 0, "outbound bytes are counted too");
    }
}
