package com.android.server.qesta.wavemapping.modelservice;

/** Host stand-in of the wave-mapping model service: the clustering natives. */
public class TrainModelService {
    static {
        System.loadLibrary("mqqoe_jni");
    }

    public native String wmpCoreClusterData(String[] rawFingers, String[] params);

    public native String nativeGetWmpCoreTrainData(String[] rawFingers, String[] params);

    public native String nativeWmpCoreTrainData(String[] rawFingers, String[] params);
}
