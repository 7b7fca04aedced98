package com.android.server.qesta.sim;

import java.io.PrintStream;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;

/**
 * Drives libmqqoe_jni.so from a real JVM the way the QoE service does, with
 * the kernel emulator playing the kernel modules, and writes an HTML report
 * of the run. Without a command it plays the demo scenes; "stall" replays a
 * traffic trace through a stall session, "cluster" runs the clustering
 * pipelines on a set of scans.
 */
public final class HostSimulator {
    private static final String USAGE = "usage: run-main.sh [stall|cluster] [options] (see README.md)";
    private static final String TITLE = "libmqqoe_jni host simulator";
    private static final int BAD_INPUT = 2;
    private static final int FAILED = 1;

    private HostSimulator() {}

    public static void main(String[] args) {
        try {
            run(args, System.out);
        } catch (SimulatorError e) {
            System.err.println("simulator: " + e.getMessage());
            System.exit(BAD_INPUT);
        } catch (Exception e) {
            System.err.println("simulator: failed: " + e);
            System.exit(FAILED);
        }
    }

    private static void run(String[] args, PrintStream out) throws Exception {
        List<String> rest = new ArrayList<>(List.of(args));
        boolean verbose = rest.remove("--verbose");
        if (rest.contains("--help") || rest.contains("-h")) {
            out.println(USAGE);
            return;
        }
        String command = !rest.isEmpty() && !rest.get(0).startsWith("-") ? rest.remove(0) : "demo";
        Report report = new Report();
        Options options;
        switch (command) {
            case "demo" -> options = new Options(rest, List.of("--report"), Set.of());
            case "stall" -> options = new Options(rest,
                    List.of("--scene", "--trace", "--interval", "--frames", "--report"), Set.of());
            case "cluster" -> options = new Options(rest,
                    List.of("--uji", "--rows", "--truth", "--param", "--report"), Set.of("--param"));
            default -> throw new SimulatorError("unknown command '" + command + "'; " + USAGE);
        }
        Path dir = Path.of(options.has("--report") ? options.get("--report")
                : System.getProperty("mqqoe.report", "report"));
        Report.checkTarget(dir);
        LibraryLog.install(verbose ? out : null);
        switch (command) {
            case "stall" -> ReportSections.stall(report, StallReplay.command(options, out));
            case "cluster" -> ReportSections.clustering(report, ClusterRun.command(options, out));
            default -> demo(report, out, verbose);
        }
        out.println("report: " + report.write(dir, TITLE));
    }

    private static void demo(Report report, PrintStream out, boolean verbose) throws Exception {
        out.println();
        out.println("==== QoeChannelsScene ====");
        QoeChannelsScene.run(out);
        out.println();
        out.println("==== StallScene ====");
        ReportSections.stall(report, StallScene.run(out));
        out.println();
        out.println("==== WavemappingScene ====");
        ClusterRun.Result clustering = WavemappingScene.run(out);
        if (clustering != null) {
            ReportSections.clustering(report, clustering);
        }
        LibraryLog.take();
        out.println();
        out.println("simulator: 3 scenes run");
        if (!verbose) {
            out.println("liblog: " + LibraryLog.taken()
                    + " lines captured (run with --verbose to see them as they are written)");
        }
    }
}
