// The load hook against a VM that does not offer JNI 1.6 (a real JVM always
// does, so this one is hand-made).

#include <gtest/gtest.h>
#include <jni.h>

#include <android/log.h>

#include "LogCapture.h"
#include "ZvQoE_jni.h"

extern "C" jint JNI_OnLoad(JavaVM* vm, void* reserved);

namespace {

int gGetEnvCalls = 0;
jint gRequestedVersion = 0;

jint getEnvOld(JavaVM*, void** env, jint version) {
    ++gGetEnvCalls;
    gRequestedVersion = version;
    *env = nullptr;
    return JNI_EVERSION;
}

TEST(JniOnLoadTest, VmWithoutJni16FailsBeforeRegistering) {
    mqqoe::testing::LogCapture log;
    JNIInvokeInterface_ functions{};
    functions.GetEnv = getEnvOld;
    JavaVM vm{&functions};

    EXPECT_EQ(-1, JNI_OnLoad(&vm, nullptr));
    EXPECT_EQ(1, gGetEnvCalls);
    EXPECT_EQ(JNI_VERSION_1_6, gRequestedVersion);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "ZvQoEJNI", "JNI version mismatch error")) << log.dump();
    EXPECT_EQ(nullptr, gJavaVm) << "a failed load must not publish the VM";
}

TEST(JniOnLoadTest, GlobalsStartAtTheirDocumentedValues) {
    EXPECT_EQ(-1, gKernelSocket);
    EXPECT_EQ(-1, gStallUid);
    EXPECT_EQ(-1, gStallAppScene);
    EXPECT_EQ(-1, gStallAlgoType);
    EXPECT_EQ(-1, gStallUserType);
    EXPECT_EQ(mqqoe::kDetectStopped, gDetectStatus);
    EXPECT_EQ(nullptr, gAdapterRef);
    EXPECT_EQ(0u, gTotalTraffic[0]);
    EXPECT_EQ(0u, gTotalTraffic[1]);
    EXPECT_EQ(0, gCurFrameDetectResult);
    EXPECT_EQ(nullptr, gFrameDetectListener.get());
}

}  // namespace
