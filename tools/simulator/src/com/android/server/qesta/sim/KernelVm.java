package com.android.server.qesta.sim;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;

/**
 * The real kernel of "stall --kernel vm": the stall module zvkorun as its
 * parameters and debugfs show it, in the VM that tools/run-main.sh boots.
 */
final class KernelVm {
    static final String OPTION = "--kernel";
    static final String EMULATOR = "emulator";
    static final String VM = "vm";
    static final String EMULATOR_NOTE = "Kernel: the kernel emulator (tests/emulator) played the stall module; no "
            + "real kernel was involved (tools/run-main.sh stall --kernel vm runs the same session on one).";

    private static final Path MODULE = Path.of("/sys/module/zvkorun");
    private static final Path DIVISOR = MODULE.resolve("parameters/time_divisor");
    private static final Path SESSIONS = Path.of("/sys/kernel/debug/zvkorun/sessions");
    private static final Path RELEASE = Path.of("/proc/sys/kernel/osrelease");
    private static final Path VERSION = Path.of("/proc/version");
    private static final Path MACHINE_VENDOR = Path.of("/sys/class/dmi/id/sys_vendor");
    // Columns of the sessions file (after its header line).
    private static final int UID = 1;
    private static final int CLASS = 2;
    private static final int INTERVAL = 3;
    private static final int REPORTS = 4;
    private static final int IN_PKTS = 6;
    private static final int DETECT_INDEX = 11;
    private static final int COLUMNS = 13;

    /** The module's last report of one session, as its debugfs file shows it. */
    record Session(int detectClass, int intervalMs, long reports, long inPkts, long outPkts, long inBytes,
            long outBytes, long detectIndex, long detectState) {}

    private KernelVm() {}

    /** Whether the options ask for the real kernel; an unknown choice is bad input. */
    static boolean chosen(Options options) {
        String kernel = options.has(OPTION) ? options.get(OPTION) : EMULATOR;
        if (!kernel.equals(EMULATOR) && !kernel.equals(VM)) {
            throw new SimulatorError(OPTION + " '" + kernel + "': choose " + EMULATOR + " or " + VM);
        }
        return kernel.equals(VM);
    }

    /** Refuses to run where the stall module is not loaded: outside the VM, or a VM without it. */
    static void requireModule() {
        if (!Files.isDirectory(MODULE) || !Files.isReadable(SESSIONS)) {
            throw new SimulatorError(OPTION + " " + VM + ": the stall module zvkorun is not loaded here "
                    + "(tools/run-main.sh stall --kernel vm runs the simulator in the VM that has it)");
        }
    }

    /** Which kernel ran the session, in one sentence for the report. */
    static String describe() {
        String release = read(RELEASE);
        String version = read(VERSION);
        String vendor = Files.isReadable(MACHINE_VENDOR) ? read(MACHINE_VENDOR) : "";
        String build = version.contains("Debian") ? version.substring(version.indexOf('#')) : version;
        return "Kernel: Linux " + release + " (" + build + ")" + (vendor.startsWith("QEMU") ? " under qemu" : "")
                + ", with the reference modules zvkorun and qoe_acct loaded; the packets were real UDP datagrams "
                + "of the app uid over wlan0, counted by the module, and no emulator was involved.";
    }

    static String divisor() {
        return read(DIVISOR);
    }

    /** Compresses the module's time: every interval divided by {@code divisor}. */
    static void setDivisor(String divisor) {
        try {
            Files.writeString(DIVISOR, divisor);
        } catch (IOException e) {
            throw new IllegalStateException("cannot set " + DIVISOR + ": " + SimulatorError.describe(e));
        }
    }

    /** The session of {@code uid} (the replay opens one), or null when there is none. */
    static Session session(int uid) {
        List<String> lines;
        try {
            lines = Files.readAllLines(SESSIONS);
        } catch (IOException e) {
            throw new IllegalStateException("cannot read " + SESSIONS + ": " + SimulatorError.describe(e));
        }
        for (String line : lines.subList(Math.min(1, lines.size()), lines.size())) {
            String[] f = line.trim().split(" ");
            if (f.length == COLUMNS && Long.parseLong(f[UID]) == uid) {
                return new Session(Integer.parseInt(f[CLASS]), Integer.parseInt(f[INTERVAL]), Long.parseLong(f[REPORTS]),
                        Long.parseLong(f[IN_PKTS]), Long.parseLong(f[IN_PKTS + 1]), Long.parseLong(f[IN_PKTS + 2]),
                        Long.parseLong(f[IN_PKTS + 3]), Long.parseLong(f[DETECT_INDEX]),
                        Long.parseLong(f[DETECT_INDEX + 1]));
            }
        }
        return null;
    }

    private static String read(Path file) {
        try {
            return Files.readString(file).trim();
        } catch (IOException e) {
            throw new IllegalStateException("cannot read " + file + ": " + SimulatorError.describe(e));
        }
    }
}
