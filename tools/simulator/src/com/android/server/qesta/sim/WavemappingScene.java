package com.android.server.qesta.sim;

import java.io.IOException;
import java.io.PrintStream;
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
        if (!FingerprintGen.built()) {
            out.println("-- fingerprint_gen not built; scene skipped");
            return null;
        }
        Path dir = Files.createTempDirectory("wavemapping");
        try {
            Path rows = dir.resolve("rows.txt");
            Path truth = dir.resolve("truth.txt");
            out.println("-- synthetic building: "
                    + FingerprintGen.run("synth", "--out", rows.toString(), "--truth", truth.toString()));
            ClusterInput input = ClusterInput.rows(rows, truth);
            return ClusterRun.run(new ClusterInput("synthetic building (fingerprint_gen synth)", input), List.of(),
                    out);
        } finally {
            Report.deleteTree(dir);
        }
    }
}
