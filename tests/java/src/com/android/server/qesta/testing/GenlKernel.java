package com.android.server.qesta.testing;

import java.util.Arrays;

/** The stall-detection module's side of generic netlink in the kernel emulator. */
public final class GenlKernel {
    public static final int CMD_START = 1;
    public static final int CMD_STOP = 2;
    public static final int CMD_KEEPALIVE = 3;
    public static final int CMD_UPDATE = 4;
    public static final int ATTR_UID = 1;
    public static final int ATTR_DETECT_CLASS = 2;
    public static final int ATTR_INTERVAL = 3;

    static {
        System.loadLibrary("mqqoe_test_jni");
    }

    private GenlKernel() {}

    public static native boolean pushThroughputReport(int uid, int inPkts, int outPkts, int inBytes, int outBytes);

    /** One short-video report whose entry under detection holds the given figures. */
    public static native boolean pushAwemeReport(int uid, int detectIndex, int curIndex, int validNum,
            int detectState, long loadedBase, long total, int rangeStart, int inBytes, int timescale, int dur,
            String video);

    /** Family commands sent by the library, oldest first. */
    public static native int[] sentCommands();

    /** A 32-bit attribute of each sent message with {@code command}. */
    public static native long[] sentAttr(int command, int type);

    public static long countSent(int command) {
        return Arrays.stream(sentCommands()).filter(c -> c == command).count();
    }

    /** Waits up to {@code timeoutMs} until {@code count} messages with {@code command} were sent. */
    public static boolean waitForCommand(int command, int count, long timeoutMs) throws InterruptedException {
        long deadline = System.nanoTime() + timeoutMs * 1_000_000L;
        while (countSent(command) < count) {
            if (System.nanoTime() > deadline) {
                return false;
            }
            KernelEmulator.waitForSent(KernelEmulator.GENERIC, KernelEmulator.sent(KernelEmulator.GENERIC).length + 1,
                    5);
        }
        return true;
    }
}
