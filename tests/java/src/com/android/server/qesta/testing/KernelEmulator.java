package com.android.server.qesta.testing;

/** The kernel's side of the library's netlink sockets (the emulator must be preloaded). */
public final class KernelEmulator {
    public static final int MONITOR = 24;
    public static final int POLICY = 25;
    public static final int GENERIC = 16;

    static {
        System.loadLibrary("mqqoe_test_jni");
    }

    private KernelEmulator() {}

    public static native void reset();

    public static native byte[][] sent(int protocol);

    public static native boolean waitForSent(int protocol, int count, int timeoutMs);

    public static native int openSockets(int protocol);

    public static native int socketsOpened(int protocol);


    public static native void failSends(int protocol, int count, int errno);

    public static native void setMonitorReply(boolean answer, int[] words);
}
