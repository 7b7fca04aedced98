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

// entries: rows of {index, loadedBase, total, rangeStart, inBytes, timescale, dur}; videos: one key per row.
JNIEXPORT jboolean JNICALL GENL(pushAwemeReport)(JNIEnv* env, jclass, jint uid, jint detectIndex, jint curIndex,
                                                 jint validNum, jint detectState, jobjectArray entries,
                                                 jobjectArray videos) {
    kemu::Bytes stallInfo(kemu::genl::kStallInfoSize, 0);
    jsize rows = entries != nullptr ? env->GetArrayLength(entries) : 0;
    for (jsize i = 0; i < rows; ++i) {
        auto row = static_cast<jlongArray>(env->GetObjectArrayElement(entries, i));
        jlong v[7] = {};
        if (row != nullptr && env->GetArrayLength(row) >= 7) env->GetLongArrayRegion(row, 0, 7, v);
        auto key = static_cast<jstring>(env->GetObjectArrayElement(videos, i));
        const char* chars = key != nullptr ? env->GetStringUTFChars(key, nullptr) : nullptr;
        std::string video = chars != nullptr ? chars : "";
        if (chars != nullptr) env->ReleaseStringUTFChars(key, chars);
        kemu::genl::setStallEntry(stallInfo, static_cast<int>(v[0]), static_cast<uint64_t>(v[1]),
                                  static_cast<uint64_t>(v[2]), video, static_cast<uint32_t>(v[3]),
                                  static_cast<uint32_t>(v[4]), static_cast<int32_t>(v[5]), static_cast<int32_t>(v[6]));
        env->DeleteLocalRef(row);
        env->DeleteLocalRef(key);
    }
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
