package com.android.server.qesta;

/**
 * Host stand-in of the QoE service's JNI adapter: the natives of libmqqoe_jni
 * with the signatures the library registers, and the stall callback.
 */
public class ZvQestaJniAdapter {
    static {
        System.loadLibrary("mqqoe_jni");
    }

    /** Receives what the library reports through {@link #handleReportStallInfo}. */
    public interface StallListener {
        void onStall(int value, int scene, int kind, boolean flag);
    }

    private static volatile StallListener sStallListener;

    public static void setStallListener(StallListener listener) {
        sStallListener = listener;
    }

    public static void handleReportStallInfo(int value, int scene, int kind, boolean flag) {
        StallListener listener = sStallListener;
        if (listener != null) {
            listener.onStall(value, scene, kind, flag);
        }
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

    public native int nativeGetCurFrameDetectResult();

    public native String nativeWmpCoreClusterData(String[] rawFingers, String[] params);

    public native String nativeGetWmpCoreTrainData(String[] rawFingers, String[] params);

    public native String nativeWmpCoreTrainData(String[] rawFingers, String[] params);
}
