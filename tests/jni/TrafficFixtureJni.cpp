// Test hook: the traffic reader and the result object of the native, pointed
// at fixture files (the native itself always reads the proc files).

#include <jni.h>

#include <optional>

#include "ScopedJni.h"
#include "TrafficStats.h"
#include "ZvQoeUdpNetworkInfo.h"

extern "C" JNIEXPORT jobject JNICALL Java_com_android_server_qesta_TrafficStatsTest_readFixtures(
        JNIEnv* env, jclass, jstring accounting, jstring udp, jstring udp6, jint uid, jint networkType) {
    ScopedUtfChars accountingPath(env, accounting), udpPath(env, udp), udp6Path(env, udp6);
    if (!accountingPath.c_str() || !udpPath.c_str() || !udp6Path.c_str()) return nullptr;
    std::optional<mqqoe::UdpNetworkStats> stats = mqqoe::readUdpNetworkStats(
            {accountingPath.c_str(), udpPath.c_str(), udp6Path.c_str()}, uid, networkType);
    return stats ? mqqoe::newUdpNetworkInfo(env, *stats) : nullptr;
}
