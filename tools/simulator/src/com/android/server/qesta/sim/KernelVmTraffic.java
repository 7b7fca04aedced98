package com.android.server.qesta.sim;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.io.PrintWriter;
import java.nio.charset.StandardCharsets;
import java.util.List;
import java.util.concurrent.TimeUnit;

/**
 * A call trace's packets made real: the app's end of a UDP flow under the
 * app uid on wlan0 and its far end in network namespace "peer", both
 * tools/simulator/vm/traffic_replay.py, told per interval how many datagrams
 * of how many bytes to send.
 */
final class KernelVmTraffic implements AutoCloseable {
    static final String REPLAYER_ENV = "MQQOE_SIM_REPLAYER";
    private static final String PYTHON = "/usr/bin/python3";
    private static final int PORT = 7300;
    private static final long STOP_WAIT_S = 5;

    /** What one end put on the wire: datagrams, their IP-level bytes (headers included) and payload bytes. */
    record Sent(long packets, long ipBytes, long payloadBytes) {}

    private final End mApp;
    private final End mPeer;

    KernelVmTraffic(int uid) {
        String replayer = System.getenv(REPLAYER_ENV);
        if (replayer == null || replayer.isEmpty()) {
            throw new IllegalStateException(REPLAYER_ENV + " does not name the traffic replayer");
        }
        String port = Integer.toString(PORT);
        mPeer = new End(List.of("ip", "netns", "exec", "peer", PYTHON, replayer, "peer", port));
        End app = null;
        try {
            app = new End(List.of("setpriv", "--reuid=" + uid, "--regid=" + uid, "--clear-groups", PYTHON, replayer,
                    "app", port));
        } finally {
            if (app == null) {
                mPeer.close();
            }
        }
        mApp = app;
    }

    /** Outbound: datagrams from the app's socket. */
    Sent out(long packets, long bytes) {
        return mApp.send(packets, bytes);
    }

    /** Inbound: datagrams from the far end to the app's socket. */
    Sent in(long packets, long bytes) {
        return mPeer.send(packets, bytes);
    }

    @Override
    public void close() {
        mApp.close();
        mPeer.close();
    }

    /** One replayer process, spoken to line by line. */
    private static final class End implements AutoCloseable {
        private final Process mProcess;
        private final PrintWriter mCommands;
        private final BufferedReader mAnswers;
        private final String mName;

        End(List<String> command) {
            mName = command.get(command.size() - 2);
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
                throw new IllegalStateException("the " + mName + " end of the traffic did not start: " + ready);
            }
        }

        Sent send(long packets, long bytes) {
            mCommands.println("send " + packets + " " + bytes);
            String[] words = answer().split(" ");
            if (words.length != 4 || !words[0].equals("sent")) {
                throw new IllegalStateException("the " + mName + " end of the traffic answered '"
                        + String.join(" ", words) + "'");
            }
            return new Sent(Long.parseLong(words[1]), Long.parseLong(words[2]), Long.parseLong(words[3]));
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
}
