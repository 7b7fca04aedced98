package com.android.server.qesta.sim;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;

/**
 * The build's fingerprint_gen tool (synthetic buildings, the UJIIndoorLoc
 * converter), whose path the launcher passes in. A malformed input file is
 * its exit code 2 with one line naming file, line and column, passed on as
 * the simulator's own error.
 */
final class FingerprintGen {
    private static final String PATH = System.getProperty("mqqoe.fingerprintgen", "");
    private static final String PREFIX = "fingerprint_gen: ";
    private static final int BAD_INPUT = 2;

    private FingerprintGen() {}

    static boolean built() {
        return !PATH.isEmpty();
    }

    /** Runs one command; returns what it printed. */
    static String run(String... args) throws IOException, InterruptedException {
        if (!built()) {
            throw new IOException("fingerprint_gen not built");
        }
        List<String> command = new ArrayList<>(List.of(PATH));
        command.addAll(List.of(args));
        String output;
        int exit;
        try (Progress progress = Progress.ticking("fingerprint_gen " + args[0])) {
            Process p = new ProcessBuilder(command).redirectErrorStream(true).start();
            output = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8).trim();
            exit = p.waitFor();
        }
        if (exit == BAD_INPUT) {
            throw new SimulatorError(output.startsWith(PREFIX) ? output.substring(PREFIX.length()) : output);
        }
        if (exit != 0) {
            throw new IOException("fingerprint_gen " + args[0] + " failed: " + output);
        }
        return output;
    }
}
