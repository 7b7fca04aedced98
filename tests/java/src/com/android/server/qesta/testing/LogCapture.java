package com.android.server.qesta.testing;

import java.util.Arrays;

/** liblog lines of this process, captured through liblog's logger hook. */
public final class LogCapture {
    static {
        System.loadLibrary("mqqoe_test_jni");
    }

    private LogCapture() {}

    public static native void install();

    public static native void clear();

    /** Lines as "priority/tag: message". */
    public static native String[] lines();

    public static boolean contains(int priority, String tag, String message) {
        return count(priority, tag, message) > 0;
    }

    public static long count(int priority, String tag, String message) {
        String wanted = priority + "/" + tag + ": " + message;
        return Arrays.stream(lines()).filter(wanted::equals).count();
    }

    /**
     * Waits, at most timeoutMs, until the line was logged exactly `wanted` times;
     * for lines another thread writes after the event the test saw.
     */
    public static boolean awaitCount(int priority, String tag, String message, long wanted, long timeoutMs)
            throws InterruptedException {
        final long pollMs = 5;
        long deadline = System.nanoTime() + timeoutMs * 1_000_000;
        while (count(priority, tag, message) != wanted) {
            if (System.nanoTime() >= deadline) return false;
            Thread.sleep(pollMs);
        }
        return true;
    }

    public static String dump() {
        return String.join("\n", lines());
    }
}
