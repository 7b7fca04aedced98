package com.android.server.qesta.sim;

import com.android.server.qesta.testing.LogCapture;

import java.io.PrintStream;
import java.util.List;

/**
 * The library's liblog lines, taken as they come so that each can be tied to
 * the report or call that caused it; with --verbose they are also printed.
 */
final class LibraryLog {
    private static PrintStream sEcho;
    private static long sTaken;

    private LibraryLog() {}

    static void install(PrintStream echo) {
        sEcho = echo;
        LogCapture.install();
    }

    /** How many lines were written since the last {@link #take}. */
    static int pending() {
        return LogCapture.lines().length;
    }

    /**
     * The lines written since the last call, as "priority/tag: message". Call
     * it only while the library is not logging: a line written between the
     * read and the clear would be lost.
     */
    static List<String> take() {
        String[] lines = LogCapture.lines();
        LogCapture.clear();
        sTaken += lines.length;
        if (sEcho != null) {
            for (String line : lines) {
                sEcho.println("      liblog " + line);
            }
        }
        return List.of(lines);
    }

    static long taken() {
        return sTaken;
    }
}
