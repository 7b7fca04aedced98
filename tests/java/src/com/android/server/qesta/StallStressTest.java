package com.android.server.qesta;

import static com.android.server.qesta.StallSessions.START;
import static com.android.server.qesta.StallSessions.STOP;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.android.server.qesta.StallSessions.Recorder;
import com.android.server.qesta.testing.GenlKernel;
import com.android.server.qesta.testing.KernelEmulator;

import java.io.File;
import java.lang.ref.WeakReference;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.function.BooleanSupplier;

import org.junit.jupiter.api.Test;

/**
 * A thousand sessions started and stopped by commands racing from several
 * Java threads while reports flow; afterwards nothing is left behind.
 */
class StallStressTest {
    private static final int UID = 10077;
    private static final int CYCLES = 1000;
    private static final int CALLERS = 4;
    private static final long DEADLINE_MS = 120_000;
    private static final int[] SCENES = {100105, 100106};

    private static int openDescriptors() {
        return new File("/proc/self/fd").list().length;
    }

    private static boolean waitUntil(BooleanSupplier done, long timeoutMs) throws InterruptedException {
        long deadline = System.currentTimeMillis() + timeoutMs;
        while (!done.getAsBoolean()) {
            if (System.currentTimeMillis() > deadline) {
                return false;
            }
            Thread.sleep(5);
        }
        return true;
    }

    @Test
    void startStopCyclesFromSeveralThreadsLeaveNothingBehind() throws Exception {
        KernelEmulator.reset();
        Recorder recorder = new Recorder();
        ZvQestaJniAdapter.setStallListener(recorder);
        // One session first, so that lazily opened VM files are in the baseline.
        runCycles(1);
        assertTrue(waitUntil(() -> KernelEmulator.openSockets(KernelEmulator.GENERIC) == 0, 5000));
        int threads = Thread.activeCount();
        int descriptors = openDescriptors();

        WeakReference<ZvQestaJniAdapter> adapter = runCycles(CYCLES);

        assertTrue(waitUntil(() -> KernelEmulator.openSockets(KernelEmulator.GENERIC) == 0, 5000),
                "a session socket stayed open");
        assertTrue(waitUntil(() -> Thread.activeCount() <= threads, 5000), "a worker thread stayed attached");
        assertTrue(waitUntil(() -> openDescriptors() == descriptors, 5000),
                "descriptors " + openDescriptors() + " != " + descriptors);
        // The adapter is only reachable through a global reference the library kept.
        assertTrue(waitUntil(() -> {
            System.gc();
            return adapter.get() == null;
        }, 10_000), "the library still holds the adapter");
        // Reports reached the detectors: every fifth parsed report sends a keep-alive.
        // (A stall callback needs five passes in one session, which a loaded machine may never give.)
        assertTrue(GenlKernel.countSent(GenlKernel.CMD_KEEPALIVE) > 0, "no report was parsed");
        ZvQestaJniAdapter.setStallListener(null);
    }

    /** Runs until {@code cycles} starts succeeded; returns a weak reference to the adapter used. */
    private static WeakReference<ZvQestaJniAdapter> runCycles(int cycles) throws Exception {
        ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();
        AtomicInteger started = new AtomicInteger();
        AtomicBoolean running = new AtomicBoolean(true);
        long deadline = System.currentTimeMillis() + DEADLINE_MS;

        Thread feeder = new Thread(() -> {
            Random random = new Random(1);
            while (running.get()) {
                if (KernelEmulator.openSockets(KernelEmulator.GENERIC) > 0) {
                    int packets = random.nextInt(3) * 60;  // silence, a stall or heavy traffic
                    GenlKernel.pushThroughputReport(UID, packets, packets, packets * 100, packets * 10);
                }
                Thread.onSpinWait();
            }
        });
        feeder.start();
        List<Thread> callers = new ArrayList<>();
        for (int t = 0; t < CALLERS; t++) {
            long seed = t;
            Thread caller = new Thread(() -> {
                Random random = new Random(seed);
                while (started.get() < cycles && System.currentTimeMillis() < deadline) {
                    int command = START + random.nextInt(3);
                    int scene = SCENES[random.nextInt(SCENES.length)];
                    if (adapter.nativeSendQoeStallDetectCmd(command, UID, scene, 0, 0) == 0 && command == START) {
                        started.incrementAndGet();
                    }
                }
            });
            callers.add(caller);
            caller.start();
        }
        for (Thread caller : callers) {
            caller.join(DEADLINE_MS + 10_000);
            assertFalse(caller.isAlive(), "a command call did not return");
        }
        assertTrue(started.get() >= cycles, "only " + started.get() + " sessions started");
        // The last stop; the feeder's next report lets the worker see it.
        adapter.nativeSendQoeStallDetectCmd(STOP, UID, 0, 0, 0);
        boolean closed = waitUntil(() -> KernelEmulator.openSockets(KernelEmulator.GENERIC) == 0, 10_000);
        running.set(false);
        feeder.join(10_000);
        assertFalse(feeder.isAlive());
        assertTrue(closed, "the last session did not end");
        assertEquals(-1, adapter.nativeSendQoeStallDetectCmd(STOP, UID, 0, 0, 0), "adapter reference still held");
        return new WeakReference<>(adapter);
    }
}
