package com.android.server.qesta.sim;

import java.io.PrintStream;
import java.util.function.Supplier;

/**
 * One progress line on standard error for work that runs longer than about a
 * second: nothing for quick work, then the state once a second, rewritten in
 * place on a terminal.
 */
final class Progress implements AutoCloseable {
    private static final long QUIET_MS = 1000;

    private final PrintStream mErr = System.err;
    private final boolean mTerminal = System.console() != null;
    private final String mWhat;
    private final long mStart = System.currentTimeMillis();
    private long mLastShown = mStart;
    private boolean mShown;
    private Thread mTicker;

    Progress(String what) {
        mWhat = what;
    }

    /** Progress of a blocking call that reports nothing itself: its running time, once a second. */
    static Progress ticking(String what) {
        Progress progress = new Progress(what);
        progress.mTicker = new Thread(() -> {
            try {
                while (true) {
                    Thread.sleep(QUIET_MS);
                    progress.update("running");
                }
            } catch (InterruptedException e) {
                // closed
            }
        }, "progress");
        progress.mTicker.setDaemon(true);
        progress.mTicker.start();
        return progress;
    }

    void update(String state) {
        update(() -> state);
    }

    /** The state is only put into words when a line is due. */
    synchronized void update(Supplier<String> state) {
        long now = System.currentTimeMillis();
        if (now - mLastShown < QUIET_MS) {
            return;
        }
        mLastShown = now;
        mShown = true;
        String line = String.format("%s: %s, %d s", mWhat, state.get(), (now - mStart) / 1000);
        if (mTerminal) {
            mErr.print("\r" + line + "\033[K");
        } else {
            mErr.println(line);
        }
    }

    @Override
    public void close() {
        if (mTicker != null) {
            mTicker.interrupt();
            try {
                mTicker.join();
            } catch (InterruptedException e) {
                Thread.currentThread().interrupt();
            }
        }
        synchronized (this) {
            if (mShown) {
                mErr.printf("%s%s: done in %.1f s%n", mTerminal ? "\r" : "", mWhat,
                        (System.currentTimeMillis() - mStart) / 1000.0);
            }
        }
    }
}
