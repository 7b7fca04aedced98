package com.android.server.qesta.sim;

import com.android.server.qesta.testing.LogCapture;

import java.io.BufferedWriter;
import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/**
 * The library's liblog lines, taken as they come so that each can be tied to
 * the report or call that caused it. They go to a file beside the report and
 * the first of them into the page; with --verbose they are also printed.
 */
final class LibraryLog {
    static final int ON_PAGE = 300;
    // The file's cap: a long trace logs a few lines per report.
    static final long IN_FILE = 200_000;

    private static PrintStream sEcho;
    private static BufferedWriter sFile;
    private static long sTaken;
    private static final List<String> FIRST = new ArrayList<>();

    private LibraryLog() {}

    static void install(PrintStream echo, Path file) throws IOException {
        sEcho = echo;
        sFile = Files.newBufferedWriter(file, StandardCharsets.UTF_8);
        LogCapture.install();
    }

    /** How many lines were written since the last {@link #take}. */
    static int pending() {
        return LogCapture.lines().length;
    }

    /**
     * {@link #take} once the library has written nothing for {@code quietMs}
     * (or {@code waitMs} have passed): how a report that moves no total is
     * known to be taken in.
     */
    static List<String> takeWhenQuiet(long quietMs, long waitMs) throws InterruptedException {
        long deadline = System.currentTimeMillis() + waitMs;
        long quietSince = System.currentTimeMillis();
        int seen = pending();
        while (System.currentTimeMillis() - quietSince < quietMs && System.currentTimeMillis() < deadline) {
            Thread.sleep(2);
            int now = pending();
            if (now != seen) {
                seen = now;
                quietSince = System.currentTimeMillis();
            }
        }
        return take();
    }

    /**
     * The lines written since the last call, as "priority/tag: message". Call
     * it only while the library is not logging: a line written between the
     * read and the clear would be lost.
     */
    static List<String> take() {
        String[] lines = LogCapture.lines();
        if (lines.length == 0) {
            return List.of();
        }
        LogCapture.clear();
        for (String line : lines) {
            keep(line);
            if (sEcho != null) {
                sEcho.println("      liblog " + line);
            }
        }
        return List.of(lines);
    }

    private static void keep(String line) {
        sTaken++;
        if (FIRST.size() < ON_PAGE) {
            FIRST.add(line);
        }
        if (sFile != null && sTaken <= IN_FILE) {
            try {
                sFile.write(line);
                sFile.write('\n');
            } catch (IOException e) {
                throw new IllegalStateException("cannot write the library's log beside the report: "
                        + SimulatorError.describe(e));
            }
        }
    }

    static long taken() {
        return sTaken;
    }

    static List<String> first() {
        return FIRST;
    }

    /** Closes the file, noting the lines it could not hold. */
    static void close() throws IOException {
        if (sFile != null) {
            if (sTaken > IN_FILE) {
                sFile.write("(" + (sTaken - IN_FILE) + " further lines not kept)\n");
            }
            sFile.close();
            sFile = null;
        }
    }
}
