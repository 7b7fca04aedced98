package com.android.server.qesta.testing;

/** Controls of the host stand-ins of the network client and frame-detection libraries. */
public final class PlatformStandIns {
    static {
        System.loadLibrary("mqqoe_test_jni");
    }

    private PlatformStandIns() {}

    public static native void netdReset();

    public static native void netdSetResult(int result);

    /** {calls, last network id, last uid} of setUidNetworkForProcess. */
    public static native int[] netdCalls();

    public static native void veltroReset();

    public static native void veltroSetDetectedTime(long time);

    /** Delivers a detection result to the registered listeners from a service thread. */
    public static native void veltroNotify(int result);

    /** {RegisterListener, StartFrameDetect, StopFrameDetect calls, the last type given}. */
    public static native int[] veltroCalls();

    public static native boolean veltroWaitRegistrations(int count, int timeoutMs);
}
