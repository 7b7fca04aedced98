package com.android.server.qesta;

/** The adapter class with nativeGetCurFrameDetectResult missing: registration must fail. */
public class ZvQestaJniAdapter {
    static {
        System.loadLibrary("mqqoe_jni");
    }

    public static native ZvQoeUdpNetworkInfo nativeReadUdpNetworkStatsDetail(int uid, int networkType);

    public native int[] nativeSendQoeCmd(int command, int argument);

    public native int nativeSetDpiMarkRule(int first, int second, int enable);

    public native int nativeResetProcessSockets(int uid);

    public native int nativeCloseProcessSockets(int first, int second);

    public native int nativeBindUidProcessToNetwork(int netId, int uid);

    public native int nativeHandleSocketStrategy(int strategy, int uid);

    public native int nativeSendQoeStallDetectCmd(int command, int uid, int appScene, int algoType, int userType);

    public native long[] nativeGetCurrTotalTraffic();

    public native int nativeStartFrameDetect(int appScene);

    public native int nativeStopFrameDetect();
}
