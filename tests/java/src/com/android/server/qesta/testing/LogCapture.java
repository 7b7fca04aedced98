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

    public static String dump() {
        return String.join("\n", lines());
    }
}
