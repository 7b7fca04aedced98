#include "ZvQoE_jni.h"

// Placeholders: each returns its documented failure value until implemented.
jobject com_android_server_nativeReadUdpNetworkStatsDetail(JNIEnv*, jclass, jint, jint) { return nullptr; }
jlongArray getCurrTotalTraffic(JNIEnv*, jobject) { return nullptr; }
