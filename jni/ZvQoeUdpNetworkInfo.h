#pragma once
// The result object of nativeReadUdpNetworkStatsDetail.

#include <jni.h>

#include "TrafficStats.h"

namespace mqqoe {

// A new ZvQoeUdpNetworkInfo holding `stats`, or null (with the VM's
// exception pending) when the class does not have what it should.
[[nodiscard]] jobject newUdpNetworkInfo(JNIEnv* env, const UdpNetworkStats& stats);

}  // namespace mqqoe
