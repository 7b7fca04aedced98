// The load hook against a VM that does not offer JNI 1.6 (a real JVM always
// does, so this one is hand-made).

#include <android/log.h>
#include <gtest/gtest.h>
#include <jni.h>

#include "LogCapture.h"
#include "ZvQoE_jni.h"

extern "C" jint JNI_OnLoad(JavaVM* vm, void* reserved);

namespace {

jint gRequestedVersion = 0;

TEST(JniOnLoadTest, VmWithoutJni16FailsBeforeRegistering) {
    mqqoe::testing::LogCapture log;
    JNIInvokeInterface_ functions{};
    functions.GetEnv = [](JavaVM*, void** env, jint version) -> jint {
        gRequestedVersion = version;
        *env = nullptr;
        return JNI_EVERSION;
    };
    JavaVM vm{&functions};

    EXPECT_EQ(-1, JNI_OnLoad(&vm, nullptr));
    EXPECT_EQ(JNI_VERSION_1_6, gRequestedVersion);
    EXPECT_TRUE(log.contains(ANDROID_LOG_ERROR, "ZvQoEJNI", "JNI version mismatch error")) << log.dump();
    EXPECT_EQ(nullptr, gJavaVm) << "a failed load must not publish the VM";
}

}  // namespace
