package com.android.server.qesta.sim;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/**
 * Which kernel a stall replay runs on, without booting anything: a missing VM
 * prerequisite stops "tools/run-main.sh stall --kernel vm" with one line
 * before any installation or build, a bad choice or the VM's mode outside
 * the VM is bad input, and the emulator's report says the emulator played
 * the kernel. The real-kernel run itself is kernel.simulator_vm.
 */
class KernelChoiceTest {
    private static final Path SOURCE = Path.of(System.getProperty("mqqoe.source", ""));
    private static final String SIMULATOR = System.getProperty("mqqoe.simulator", "");
    private static final Path TRACE = SOURCE.resolve("tools/simulator/examples/video-call.csv");
    private static final long RUN_WAIT_S = 120;

    @TempDir Path dir;

    private record Run(int exitCode, String out, String err) {}

    private Run run(Map<String, String> env, List<String> command) throws Exception {
        ProcessBuilder builder = new ProcessBuilder(command).redirectOutput(dir.resolve("out.txt").toFile())
                .redirectError(dir.resolve("err.txt").toFile());
        builder.environment().putAll(env);
        Process process = builder.start();
        assertTrue(process.waitFor(RUN_WAIT_S, TimeUnit.SECONDS), String.join(" ", command) + " still running");
        return new Run(process.exitValue(), Files.readString(dir.resolve("out.txt")),
                Files.readString(dir.resolve("err.txt")));
    }

    private static List<String> stall(String first, String... more) {
        List<String> command = new ArrayList<>(List.of(first, "stall", "--scene", "100106", "--trace",
                TRACE.toString()));
        command.addAll(List.of(more));
        return command;
    }

    @Test
    void aMissingVmPrerequisiteIsOneLineAndExitStatusTwo() throws Exception {
        String runMain = SOURCE.resolve("tools/run-main.sh").toString();
        Path missing = dir.resolve("missing");
        String[][] cases = {
            // variable, what it names, what the line says is missing
            {"MQQOE_VM_KERNEL_IMAGE", missing.resolve("vmlinuz").toString(), "Debian's kernel image " + missing},
            {"MQQOE_VM_BUSYBOX", missing.resolve("busybox").toString(), "busybox (" + missing},
            {"MQQOE_VM_QEMU", "qemu-system-missing", "qemu (qemu-system-missing)"},
        };
        for (String[] c : cases) {
            Run result = run(Map.of(c[0], c[1]), stall(runMain, "--kernel", "vm", "--report",
                    dir.resolve("report").toString()));
            assertEquals(2, result.exitCode(), c[0] + ": " + result.err());
            assertEquals("", result.out(), c[0]);
            assertEquals(1, result.err().lines().count(), result.err());
            assertTrue(result.err().startsWith("run-main: --kernel vm needs ") && result.err().contains(c[2])
                    && result.err().contains("tools/setup-deps.sh kernel-x86_64"), result.err());
            assertTrue(Files.notExists(dir.resolve("report")), c[0] + ": nothing was run");
        }
    }

    @Test
    void aBadChoiceOrTheVmsModeOutsideTheVmIsBadInput() throws Exception {
        String[][] cases = {
            // --kernel value, the line on standard error
            {"qemu", "simulator: --kernel 'qemu': choose emulator or vm"},
            {"vm", "simulator: --kernel vm: the stall module zvkorun is not loaded here (tools/run-main.sh stall "
                    + "--kernel vm runs the simulator in the VM that has it)"},
        };
        for (String[] c : cases) {
            Run result = run(Map.of(), stall(SIMULATOR, "--kernel", c[0], "--report",
                    dir.resolve("report").toString()));
            assertEquals(2, result.exitCode(), result.err());
            assertEquals(c[1] + "\n", result.err());
        }
    }

    @Test
    void theEmulatorsReportSaysWhoPlayedTheKernel() throws Exception {
        Path report = dir.resolve("report");
        Run result = run(Map.of(), stall(SIMULATOR, "--kernel", "emulator", "--report", report.toString()));
        assertEquals(0, result.exitCode(), result.err());
        String page = Files.readString(report.resolve("index.html"));
        assertTrue(page.contains("Kernel: the kernel emulator (tests/emulator) played the stall module"), page);
        assertTrue(Files.notExists(report.resolve(KernelVmStall.CSV)));
    }
}
