package com.android.server.qesta.sim;

import java.util.List;

/**
 * A call trace's packets made real: the app's end of a UDP flow under the
 * app uid on wlan0 and its far end in network namespace "peer", both
 * tools/simulator/vm/traffic_replay.py, told per interval how many datagrams
 * of how many bytes to send.
 */
final class KernelVmTraffic implements AutoCloseable {
    private static final String PORT = "7300";

    /** What one end put on the wire: datagrams, their IP-level bytes (headers included) and payload bytes. */
    record Sent(long packets, long ipBytes, long payloadBytes) {}

    private final KernelVmProcess mApp;
    private final KernelVmProcess mPeer;

    KernelVmTraffic(int uid) {
        String replayer = KernelVmProcess.script("traffic_replay.py").toString();
        mPeer = new KernelVmProcess("far end of the traffic",
                List.of("ip", "netns", "exec", "peer", KernelVmProcess.PYTHON, replayer, "peer", PORT));
        KernelVmProcess app = null;
        try {
            app = new KernelVmProcess("app end of the traffic", List.of("setpriv", "--reuid=" + uid, "--regid=" + uid,
                    "--clear-groups", KernelVmProcess.PYTHON, replayer, "app", PORT));
        } finally {
            if (app == null) {
                mPeer.close();
            }
        }
        mApp = app;
    }

    /** Outbound: datagrams from the app's socket. */
    Sent out(long packets, long bytes) {
        return send(mApp, packets, bytes);
    }

    /** Inbound: datagrams from the far end to the app's socket. */
    Sent in(long packets, long bytes) {
        return send(mPeer, packets, bytes);
    }

    private static Sent send(KernelVmProcess end, long packets, long bytes) {
        String[] words = end.ask("send " + packets + " " + bytes, "sent");
        return new Sent(Long.parseLong(words[1]), Long.parseLong(words[2]), Long.parseLong(words[3]));
    }

    @Override
    public void close() {
        mApp.close();
        mPeer.close();
    }
}
