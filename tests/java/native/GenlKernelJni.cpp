// JNI steering of the emulator's generic netlink kernel for the JVM tests and
// the host simulator.

#include <jni.h>

#include <string>
#include <vector>

#include "GenlKernel.h"

namespace {

constexpr int kControllerType = 16;  // GENL_ID_CTRL: the family lookup

}  // namespace

#define GENL(name) Java_com_android_server_qesta_testing_GenlKernel_##name

extern "C" {

JNIEXPORT jboolean JNICALL GENL(pushThroughputReport)(JNIEnv*, jclass, jint uid, jint inPkts, jint outPkts,
                                                      jint inBytes, jint outBytes) {
    return kemu::genl::pushThroughputReport(uid, static_cast<uint32_t>(inPkts), static_cast<uint32_t>(outPkts),
                                            static_cast<uint32_t>(inBytes), static_cast<uint32_t>(outBytes));
}

// One report whose entry under detection (detectIndex) holds the given figures.
JNIEXPORT jboolean JNICALL GENL(pushAwemeReport)(JNIEnv* env, jclass, jint uid, jint detectIndex, jint curIndex,
                                                 jint validNum, jint detectState, jlong loadedBase, jlong total,
                                                 jint rangeStart, jint inBytes, jint timescale, jint dur,
                                                 jstring video) {
    kemu::Bytes stallInfo;
    const char* key = video != nullptr ? env->GetStringUTFChars(video, nullptr) : nullptr;
    kemu::genl::setStallEntry(stallInfo, detectIndex, static_cast<uint64_t>(loadedBase), static_cast<uint64_t>(total),
                              key != nullptr ? key : "", static_cast<uint32_t>(rangeStart),
                              static_cast<uint32_t>(inBytes), timescale, dur);
    if (key != nullptr) env->ReleaseStringUTFChars(video, key);
    return kemu::genl::pushAwemeReport(uid, static_cast<uint32_t>(detectIndex), static_cast<uint32_t>(curIndex),
                                       static_cast<uint32_t>(validNum), static_cast<uint32_t>(detectState), stallInfo);
}

// The family commands the library sent, oldest first (family lookups left out).
JNIEXPORT jintArray JNICALL GENL(sentCommands)(JNIEnv* env, jclass) {
    std::vector<jint> commands;
    for (const auto& message : kemu::genl::sentMessages()) {
        if (kemu::genl::typeOf(message) != kControllerType) commands.push_back(kemu::genl::commandOf(message));
    }
    jintArray out = env->NewIntArray(static_cast<jsize>(commands.size()));
    env->SetIntArrayRegion(out, 0, static_cast<jsize>(commands.size()), commands.data());
    return out;
}

// A 32-bit attribute of every sent family message with this command (-1 when absent).
JNIEXPORT jlongArray JNICALL GENL(sentAttr)(JNIEnv* env, jclass, jint command, jint type) {
    std::vector<jlong> values;
    for (const auto& message : kemu::genl::sentMessages()) {
        if (kemu::genl::typeOf(message) != kControllerType && kemu::genl::commandOf(message) == command) {
            values.push_back(kemu::genl::u32AttrOf(message, type));
        }
    }
    jlongArray out = env->NewLongArray(static_cast<jsize>(values.size()));
    env->SetLongArrayRegion(out, 0, static_cast<jsize>(values.size()), values.data());
    return out;
}

}  // extern "C"
