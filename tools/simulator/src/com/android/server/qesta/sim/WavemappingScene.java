package com.android.server.qesta.sim;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;

/**
 * Wi-Fi fingerprint clustering of a synthetic three-floor building: the scans
 * come from fingerprint_gen (path-loss model with known places), go through
 * the clustering natives, and the clusters found are scored against the
 * places with purity and the adjusted Rand index.
 */
public final class WavemappingScene {
    private WavemappingScene() {}

    /** The run, or null when fingerprint_gen is not built. */
    public static ClusterRun.Result run(PrintStream out) throws IOException, InterruptedException {
        String gen = System.getProperty("mqqoe.fingerprintgen", "");
        if (gen.isEmpty()) {
            out.println("-- fingerprint_gen not built; scene skipped");
            return null;
        }
        Path dir = Files.createTempDirectory("wavemapping");
        try {
            Path rows = dir.resolve("rows.txt");
            Path truth = dir.resolve("truth.txt");
            out.println("-- synthetic building: "
                    + exec(gen, "synth", "--out", rows.toString(), "--truth", truth.toString()).trim());
            ClusterInput input = ClusterInput.rows(rows, truth);
            return ClusterRun.run(new ClusterInput("synthetic building (fingerprint_gen synth)", input), List.of(),
                    out);
        } finally {
            Report.deleteTree(dir);
        }
    }

    private static String exec(String... command) throws IOException, InterruptedException {
        Process p = new ProcessBuilder(List.of(command)).redirectErrorStream(true).start();
        String output = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
        if (p.waitFor() != 0) {
            throw new IOException(command[1] + " failed: " + output.trim());
        }
        return output;
    }
}
