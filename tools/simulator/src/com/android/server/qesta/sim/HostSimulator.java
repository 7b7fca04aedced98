package com.android.server.qesta.sim;

import java.io.BufferedReader;
import java.io.BufferedWriter;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.PrintStream;
import java.io.PrintWriter;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
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
    private static final String TITLE = "libmqqoe_jni host simulator";
    private static final int BAD_INPUT = 2;
    private static final int FAILED = 1;
    // The launcher sends the process's standard output (where the library
    // prints) to a file and hands the simulator the terminal as another descriptor.
    private static final String OWN_OUTPUT = System.getProperty("mqqoe.ownout", "");
    private static final String LIBRARY_STDOUT = System.getProperty("mqqoe.libstdout", "");
    private static final int STDOUT_ON_PAGE = 300;

    private HostSimulator() {}

    public static void main(String[] args) {
        PrintStream out = ownOutput();
        try {
            run(args, out);
            out.flush();
        } catch (SimulatorError e) {
            out.flush();
            System.err.println("simulator: " + e.getMessage());
            System.exit(BAD_INPUT);
        } catch (Exception | Error e) {
            out.flush();
            System.err.println("simulator: internal failure: " + (e.getMessage() != null ? e.getMessage()
                    : "unexpected state") + " (details in " + keepDetails(e) + ")");
            System.exit(FAILED);
        }
    }

    private static PrintStream ownOutput() {
        if (OWN_OUTPUT.isEmpty()) {
            return System.out;
        }
        try {
            // Appending: when the caller redirected into a file, the simulator's lines follow, never overwrite.
            return new PrintStream(new FileOutputStream(OWN_OUTPUT, true), true, StandardCharsets.UTF_8);
        } catch (IOException e) {
            return System.out;
        }
    }

    /** The stack of an internal failure, in a file for a bug report. */
    private static String keepDetails(Throwable e) {
        try {
            Path file = Files.createTempFile("simulator-failure-", ".txt");
            try (PrintWriter writer = new PrintWriter(Files.newBufferedWriter(file))) {
                e.printStackTrace(writer);
            }
            return file.toString();
        } catch (IOException io) {
            return "no file: " + SimulatorError.describe(io);
        }
    }

    private static void run(String[] args, PrintStream out) throws Exception {
        List<String> rest = new ArrayList<>(List.of(args));
        boolean verbose = rest.remove("--verbose");
        String command = !rest.isEmpty() && !rest.get(0).startsWith("-") ? rest.remove(0) : "demo";
        if (rest.contains("--help") || rest.contains("-h")) {
            out.print(help(command));
            return;
        }
        Options options;
        switch (command) {
            case "demo" -> options = new Options(rest, List.of("--report"), Set.of());
            case "stall" -> options = new Options(rest,
                    List.of("--scene", "--trace", "--interval", "--frames", "--report", KernelVm.OPTION), Set.of());
            case "cluster" -> options = new Options(rest,
                    List.of("--uji", "--rows", "--truth", "--param", "--report"), Set.of("--param"));
            default -> throw new SimulatorError("unknown command '" + command
                    + "' (commands: stall, cluster; none for the demo; --help for more)");
        }
        Report report = Report.open(Path.of(options.has("--report") ? options.get("--report")
                : System.getProperty("mqqoe.report", "report")));
        try {
            LibraryLog.install(verbose ? out : null, report.sidecar("library-output.txt"));
            switch (command) {
                case "stall" -> stall(options, out, verbose, report);
                case "cluster" -> ReportSections.clustering(report, ClusterRun.command(options, out));
                default -> demo(report, out, verbose);
            }
            LibraryLog.take();
            LibraryLog.close();
            libraryOutput(report, verbose, out);
            out.println("report: " + report.write(TITLE, Notices.all()));
        } catch (Exception | Error e) {
            report.abandon();
            throw e;
        }
    }

    /** A stall replay on the kernel emulator, or with --kernel vm on the real kernel of the VM it runs in. */
    private static void stall(Options options, PrintStream out, boolean verbose, Report report) throws Exception {
        if (KernelVm.chosen(options)) {
            KernelVmStall.run(options, out, verbose, report).write(report);
            return;
        }
        StallSession session = StallCommand.run(options, out, verbose, report);
        session.notes.add(KernelVm.EMULATOR_NOTE);
        ReportSections.stall(report, session);
    }

    private static String help(String command) {
        return switch (command) {
            case "stall" -> Help.STALL + Help.EXIT;
            case "cluster" -> Help.CLUSTER + parameterKeys() + Help.EXIT;
            default -> Help.GENERAL + Help.EXIT;
        };
    }

    private static String parameterKeys() {
        StringBuilder text = new StringBuilder();
        for (String[] key : ClusterRun.READ) {
            text.append(String.format("  %-18s %-17s default %s%n", key[0], key[1], key[2]));
        }
        text.append("Accepted by the library but read by no pipeline (a warning): ")
                .append(String.join(" ", ClusterRun.UNREAD.stream().sorted().toList())).append("\n");
        return text.toString();
    }

    /**
     * The library's own lines, in a collapsed section of the page: its liblog
     * lines and what it wrote to standard output (the clustering core's fixed
     * trace lines), which stay off the terminal unless --verbose.
     */
    private static void libraryOutput(Report report, boolean verbose, PrintStream out) throws IOException {
        report.heading("The library's own output");
        report.paragraph("Lines written by libmqqoe_jni itself, not by the simulator. Log tags: \"Korun\" the stall "
                + "engine, \"ZvQoEJNI\" the JNI layer, \"WmpCore:\" the clustering core, \"JNIHelp\" the "
                + "registration of natives; priorities 3 debug, 4 info, 6 error, 7 fatal.");
        report.details("liblog: " + LibraryLog.taken() + " line(s)" + (LibraryLog.taken() > LibraryLog.ON_PAGE
                ? ", the first " + LibraryLog.ON_PAGE + " here" : ""), LibraryLog.first());
        List<String> stdout = new ArrayList<>();
        long count = 0;
        Path captured = LIBRARY_STDOUT.isEmpty() ? null : Path.of(LIBRARY_STDOUT);
        if (captured != null && Files.exists(captured)) {
            try (BufferedReader in = Files.newBufferedReader(captured, StandardCharsets.ISO_8859_1);
                    BufferedWriter file = Files.newBufferedWriter(report.sidecar("library-output.txt"),
                            StandardCharsets.ISO_8859_1, StandardOpenOption.APPEND)) {
                file.write("---- standard output ----\n");
                for (String line; (line = in.readLine()) != null; ) {
                    count++;
                    if (stdout.size() < STDOUT_ON_PAGE) {
                        stdout.add(line);
                    }
                    file.write(line + "\n");
                    // The checked JVM's complaints land here too: they must not go unseen.
                    if (line.contains("WARNING") || line.contains("FATAL")) {
                        System.err.println("simulator: the JVM or the library wrote: " + line);
                    }
                }
            }
            Files.delete(captured);
        }
        report.details("standard output: " + (verbose ? "shown live (--verbose)" : count + " line(s)"), stdout);
        report.link("All of it: library-output.txt", "library-output.txt");
        if (!verbose) {
            out.println("library: " + LibraryLog.taken() + " log line(s), " + count + " standard-output line(s), in "
                    + "the report (--verbose shows them as they are written)");
        }
    }

    private static void demo(Report report, PrintStream out, boolean verbose) throws Exception {
        out.println();
        out.println("==== QoeChannelsScene ====");
        QoeChannelsScene.run(out);
        out.println();
        out.println("==== StallScene ====");
        ReportSections.stall(report, StallScene.run(out, verbose, report));
        out.println();
        out.println("==== WavemappingScene ====");
        ClusterRun.Result clustering = WavemappingScene.run(out);
        if (clustering != null) {
            ReportSections.clustering(report, clustering);
        }
        out.println();
        out.println("simulator: 3 scenes run");
    }
}
