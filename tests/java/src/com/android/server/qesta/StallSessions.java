package com.android.server.qesta;

import com.android.server.qesta.testing.GenlKernel;
import com.android.server.qesta.testing.KernelEmulator;

import java.util.ArrayList;
import java.util.List;

/** Drives stall sessions of the library against the emulator, with bounded waits only. */
final class StallSessions {
    public static final int START = 24;
    public static final int STOP = 25;
    public static final int STOP_ALGO = 26;
    public static final long WAIT_MS = 5000;

    private StallSessions() {}

    /** One call of handleReportStallInfo. */
    public record Callback(int value, int scene, int kind, boolean flag) {}

    /** Records the callbacks the Java side receives, and the thread they came on. */
    public static final class Recorder implements ZvQestaJniAdapter.StallListener {
        private final List<Callback> mCallbacks = new ArrayList<>();
        private Thread mWorker;
        private final Thread mTest = Thread.currentThread();

        @Override
        public synchronized void onStall(int value, int scene, int kind, boolean flag) {
            mCallbacks.add(new Callback(value, scene, kind, flag));
            mWorker = Thread.currentThread();
            notifyAll();
        }

        public synchronized Thread worker() {
            return mWorker;
        }

        public synchronized boolean onWorkerThread() {
            return mWorker != null && mWorker != mTest;
        }

        public synchronized List<Callback> callbacks() {
            return new ArrayList<>(mCallbacks);
        }

        public synchronized boolean await(int count, long timeoutMs) throws InterruptedException {
            long deadline = System.currentTimeMillis() + timeoutMs;
            while (mCallbacks.size() < count) {
                long left = deadline - System.currentTimeMillis();
                if (left <= 0) {
                    return false;
                }
                wait(left);
            }
            return true;
        }
    }

    /**
     * Starts a session, retrying while the previous worker is still finishing,
     * and waits until the kernel got START. Returns the last start result.
     */
    public static int start(ZvQestaJniAdapter adapter, int uid, int scene, int algo, int user)
            throws InterruptedException {
        long starts = GenlKernel.countSent(GenlKernel.CMD_START);
        long deadline = System.currentTimeMillis() + WAIT_MS;
        int result;
        while ((result = adapter.nativeSendQoeStallDetectCmd(START, uid, scene, algo, user)) != 0
                && System.currentTimeMillis() < deadline) {
            Thread.sleep(2);
        }
        if (result == 0) {
            GenlKernel.waitForCommand(GenlKernel.CMD_START, (int) starts + 1, WAIT_MS);
        }
        return result;
    }

    /** Waits until the session's socket is closed, i.e. the worker stopped the handler. */
    public static boolean waitClosed() throws InterruptedException {
        long deadline = System.currentTimeMillis() + WAIT_MS;
        while (KernelEmulator.openSockets(KernelEmulator.GENERIC) > 0) {
            if (System.currentTimeMillis() > deadline) {
                return false;
            }
            Thread.sleep(1);
        }
        return true;
    }

    /** Throughput reports of one session, with the byte totals they add up to. */
    public static final class Reports {
        private final ZvQestaJniAdapter mAdapter;
        private final int mUid;
        private long mIn;
        private long mOut;

        public Reports(ZvQestaJniAdapter adapter, int uid) {
            mAdapter = adapter;
            mUid = uid;
        }

        public boolean push(int inPkts, int inBytes, int outBytes) {
            mIn += inBytes;
            mOut += outBytes;
            return GenlKernel.pushThroughputReport(mUid, inPkts, inPkts / 2, inBytes, outBytes);
        }

        /** Pushes one report with traffic and waits until the worker took it in: its totals moved on. */
        public boolean pushAndWait(int inPkts, int inBytes, int outBytes) throws InterruptedException {
            if (!push(inPkts, inBytes, outBytes)) {
                return false;
            }
            long deadline = System.currentTimeMillis() + WAIT_MS;
            while (true) {
                long[] now = mAdapter.nativeGetCurrTotalTraffic();
                if (now[0] == mOut && now[1] == mIn) {
                    return true;
                }
                if (System.currentTimeMillis() > deadline) {
                    return false;
                }
                Thread.sleep(1);
            }
        }
    }

    /** Ends the running session with a report from another uid; waits for the STOP it causes. */
    public static boolean endWithForeignReport(int uid, boolean shortVideo) throws InterruptedException {
        long stops = GenlKernel.countSent(GenlKernel.CMD_STOP);
        boolean pushed = shortVideo
                ? GenlKernel.pushAwemeReport(uid + 1, 0, 0, 1, 2, new long[0][], new String[0])
                : GenlKernel.pushThroughputReport(uid + 1, 1, 1, 1, 1);
        return pushed && GenlKernel.waitForCommand(GenlKernel.CMD_STOP, (int) stops + 1, WAIT_MS) && waitClosed();
    }
}
