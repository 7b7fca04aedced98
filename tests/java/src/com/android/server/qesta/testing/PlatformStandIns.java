package com.android.server.qesta.testing;

/** Controls of the host stand-ins of the network client and frame-detection libraries. */
public final class PlatformStandIns {
    static {
        System.loadLibrary("mqqoe_test_jni");
    }

    private PlatformStandIns() {}

    public static native void netdReset();

    public static native void netdSetResult(int result);

    public static native int netdCallCount();

    public static native int netdLastNetId();

    public static native int netdLastUid();

    public static native void veltroReset();

    public static native void veltroSetDetectedTime(long time);

    /** Delivers a detection result to the registered listeners from a service thread. */
    public static native void veltroNotify(int result);

    public static native int veltroRegisterCount();

    public static native int veltroStartCount();

    public static native int veltroStopCount();

    public static native int veltroLastType();

    public static native boolean veltroWaitRegistrations(int count, int timeoutMs);
}
