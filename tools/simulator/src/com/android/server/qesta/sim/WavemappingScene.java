package com.android.server.qesta.sim;

import com.android.server.qesta.wavemapping.modelservice.TrainModelService;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Comparator;
import java.util.List;
import java.util.stream.Stream;

/**
 * Wi-Fi fingerprint clustering of a synthetic three-floor building: the scans
 * come from fingerprint_gen (path-loss model with known places), go through
 * the model service's natives, and the clusters found are scored against the
 * places with purity and the adjusted Rand index.
 */
public final class WavemappingScene {
    private static final String[] DEFAULT_PARAMS = new String[0];

    private WavemappingScene() {}

    interface Pipeline {
        String call(String[] rows, String[] params);
    }

    public static void run(PrintStream out) {
        String gen = System.getProperty("mqqoe.fingerprintgen", "");
        if (gen.isEmpty()) {
            out.println("-- fingerprint_gen not built; scene skipped");
            return;
        }
        Path dir = null;
        try {
            dir = Files.createTempDirectory("wavemapping");
            Path rowsFile = dir.resolve("rows.txt");
            Path truth = dir.resolve("truth.txt");
            out.println("-- synthetic building: "
                    + exec(gen, "synth", "--out", rowsFile.toString(), "--truth", truth.toString()).trim());
            String[] rows = Files.readAllLines(rowsFile, StandardCharsets.UTF_8).toArray(new String[0]);
            TrainModelService service = new TrainModelService();

            long start = System.nanoTime();
            String core = service.nativeGetWmpCoreTrainData(rows, DEFAULT_PARAMS);
            String[] coreLines = core.split(";");
            out.printf(" nativeGetWmpCoreTrainData: %d of %d BSSIDs selected, %d scans kept (%.1f ms)%n",
                    coreLines[0].split(",").length - 5, rows[0].split(",").length - 5, coreLines.length - 1,
                    (System.nanoTime() - start) / 1e6);

            cluster(out, "nativeWmpCoreTrainData (all BSSIDs)", service::nativeWmpCoreTrainData, rows, gen, truth, dir);
            cluster(out, "wmpCoreClusterData (selected BSSIDs)", service::wmpCoreClusterData, rows, gen, truth, dir);
        } catch (IOException | InterruptedException e) {
            out.println(" wavemapping scene failed: " + e.getMessage());
        } finally {
            deleteTree(dir);
        }
    }

    private static void cluster(PrintStream out, String name, Pipeline pipeline, String[] rows, String gen,
            Path truth, Path dir) throws IOException, InterruptedException {
        long start = System.nanoTime();
        String model = pipeline.call(rows, DEFAULT_PARAMS);
        double ms = (System.nanoTime() - start) / 1e6;
        Path modelFile = Files.writeString(dir.resolve("model.txt"), model, StandardCharsets.UTF_8);
        out.printf("-- %s: %d chars of model text (%.1f ms)%n", name, model.length(), ms);
        String report = exec(gen, "score", "--truth", truth.toString(), "--model", modelFile.toString(),
                "--scans", Integer.toString(rows.length - 1));
        for (String line : report.split("\n")) {
            out.println("   " + line);
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

    private static void deleteTree(Path dir) {
        if (dir == null) {
            return;
        }
        try (Stream<Path> paths = Files.walk(dir)) {
            paths.sorted(Comparator.reverseOrder()).forEach(p -> p.toFile().delete());
        } catch (IOException e) {
            // Best effort: the folder is under the system temporary directory.
        }
    }
}
