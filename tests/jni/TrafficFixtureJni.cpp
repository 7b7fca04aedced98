// Test hook: the traffic reader native's own code, pointed at fixture files.

#include <jni.h>

#include "ScopedJni.h"
#include "TrafficStats.h"

extern "C" JNIEXPORT jobject JNICALL Java_com_android_server_qesta_TrafficStatsTest_readFixtures(
        JNIEnv* env, jclass, jstring accounting, jstring udp, jstring udp6, jint uid, jint networkType) {
    ScopedUtfChars accountingPath(env, accounting), udpPath(env, udp), udp6Path(env, udp6);
    if (!accountingPath.c_str() || !udpPath.c_str() || !udp6Path.c_str()) return nullptr;
    return mqqoe::readUdpNetworkStatsDetail(env, {accountingPath.c_str(), udpPath.c_str(), udp6Path.c_str()}, uid,
                                            networkType);
}
