package com.android.server.qesta.sim;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.io.PrintWriter;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.List;
import java.util.concurrent.TimeUnit;

/**
 * A helper of the VM replay (tools/simulator/vm/*.py): started, awaited
 * until it says "ready", then asked one command a line, one answer each.
 */
final class KernelVmProcess implements AutoCloseable {
    /** The folder of the helpers, set by tools/simulator/vm/guest.sh. */
    static final String TOOLS_ENV = "MQQOE_SIM_VM_TOOLS";
    static final String PYTHON = "/usr/bin/python3";
    private static final long STOP_WAIT_S = 5;

    private final Process mProcess;
    private final PrintWriter mCommands;
    private final BufferedReader mAnswers;
    private final String mName;

    /** A helper script of the folder named by {@link #TOOLS_ENV}. */
    static Path script(String name) {
        String tools = System.getenv(TOOLS_ENV);
        if (tools == null || tools.isEmpty()) {
            throw new IllegalStateException(TOOLS_ENV + " does not name the folder of the VM replay's helpers");
        }
        return Path.of(tools, name);
    }

    KernelVmProcess(String name, List<String> command) {
        mName = name;
        try {
            mProcess = new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.INHERIT).start();
        } catch (IOException e) {
            throw new IllegalStateException("cannot start " + String.join(" ", command) + ": "
                    + SimulatorError.describe(e));
        }
        mCommands = new PrintWriter(mProcess.getOutputStream(), true, StandardCharsets.US_ASCII);
        mAnswers = new BufferedReader(new InputStreamReader(mProcess.getInputStream(), StandardCharsets.US_ASCII));
        String ready = answer();
        if (!ready.equals("ready")) {
            close();
            throw new IllegalStateException("the " + mName + " did not start: " + ready);
        }
    }

    /** The answer's words, which must start with {@code expected}. */
    String[] ask(String command, String expected) {
        mCommands.println(command);
        String answer = answer();
        String[] words = answer.split(" ");
        if (!words[0].equals(expected)) {
            throw new IllegalStateException("the " + mName + " answered '" + answer + "' to '" + command + "'");
        }
        return words;
    }

    private String answer() {
        try {
            String line = mAnswers.readLine();
            return line != null ? line : "(no answer: it ended)";
        } catch (IOException e) {
            return "(no answer: " + SimulatorError.describe(e) + ")";
        }
    }

    @Override
    public void close() {
        mCommands.close();
        try {
            if (!mProcess.waitFor(STOP_WAIT_S, TimeUnit.SECONDS)) {
                mProcess.destroyForcibly().waitFor(STOP_WAIT_S, TimeUnit.SECONDS);
            }
        } catch (InterruptedException e) {
            mProcess.destroyForcibly();
            Thread.currentThread().interrupt();
        }
    }
}
