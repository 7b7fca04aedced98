package com.android.server.qesta.sim;

import java.io.PrintStream;
import java.util.ArrayList;
import java.util.List;

/**
 * Input the run does not use: each one is a warning line on standard error
 * as it is found and a note at the top of the report, never dropped silently.
 */
final class Notices {
    private static final List<String> WARNINGS = new ArrayList<>();
    private static PrintStream sErr = System.err;

    private Notices() {}

    static void to(PrintStream err) {
        sErr = err;
    }

    static synchronized void warn(String text) {
        WARNINGS.add(text);
        sErr.println("simulator: warning: " + text);
    }

    static synchronized List<String> all() {
        return List.copyOf(WARNINGS);
    }
}
