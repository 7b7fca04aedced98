// The six clustering natives of the adapter and model service classes: thin
// glue that turns two Java string arrays into lists, runs one pipeline and
// hands its text back.

#include <jni.h>

#include <string>
#include <utility>
#include <vector>

#include "WmpParam.h"
#include "WmpPipelines.h"
#include "WmpReport.h"
#include "WmpScopedJni.h"

namespace wmpcore {

namespace {

jsize lengthOf(JNIEnv* env, jobjectArray array) {
    return array != nullptr ? env->GetArrayLength(array) : 0;
}

// Copies `count` elements of a String[]; a null array reads as empty and a
// null element as "". False when the VM could not give the characters (an
// exception is then pending).
[[nodiscard]] bool readStrings(JNIEnv* env, jobjectArray array, jsize count, std::vector<std::string>& out) {
    out.reserve(static_cast<size_t>(count));
    for (jsize i = 0; i < count; ++i) {
        const ScopedLocalRef<jobject> element(env, env->GetObjectArrayElement(array, i));
        if (element.get() == nullptr) {
            if (env->ExceptionCheck()) return false;
            out.emplace_back();
            continue;
        }
        const ScopedLegacyUtfChars chars(env, static_cast<jstring>(element.get()));
        if (chars.c_str() == nullptr) return false;
        out.emplace_back(chars.c_str());
    }
    return true;
}

using Pipeline = std::string (*)(std::vector<std::string> rows, const Param& param);

std::string runTrainDataStr(std::vector<std::string> rows, const Param& param) {
    return trainDataStr(std::move(rows), param, {});
}
std::string runTrainData(std::vector<std::string> rows, const Param& param) {
    return trainData(std::move(rows), param);
}
std::string runGetCoreData(std::vector<std::string> rows, const Param& param) {
    return getCoreData(std::move(rows), param, {});
}

jstring runPipelineImpl(JNIEnv* env, jobjectArray rawFingers, jobjectArray params, Pipeline pipeline,
                        const char* name) {
    try {
        const jsize rowCount = lengthOf(env, rawFingers);
        const jsize paramCount = lengthOf(env, params);
        std::vector<std::string> paramList;
        if (!readStrings(env, params, paramCount, paramList)) return nullptr;
        const Param param = getParamByArr(std::move(paramList));
        std::vector<std::string> rows;
        if (!readStrings(env, rawFingers, rowCount, rows)) return nullptr;
        const std::string text = pipeline(std::move(rows), param);
        return env->NewStringUTF(text.c_str());
    } catch (const std::exception& e) {
        // Nothing may unwind into the VM.
        reportException(name, e);
    } catch (...) {
        reportUnknownException();
    }
    return nullptr;
}

}  // namespace

}  // namespace wmpcore

using wmpcore::runPipelineImpl;

extern "C" JNIEXPORT jstring JNICALL Java_com_android_server_qesta_ZvQestaJniAdapter_nativeWmpCoreClusterData(
    JNIEnv* env, jobject /*thiz*/, jobjectArray rawFingers, jobjectArray params) {
    return runPipelineImpl(env, rawFingers, params, wmpcore::runTrainDataStr, "trainDataStr");
}

extern "C" JNIEXPORT jstring JNICALL Java_com_android_server_qesta_ZvQestaJniAdapter_nativeGetWmpCoreTrainData(
    JNIEnv* env, jobject /*thiz*/, jobjectArray rawFingers, jobjectArray params) {
    return runPipelineImpl(env, rawFingers, params, wmpcore::runGetCoreData, "getCoreData");
}

extern "C" JNIEXPORT jstring JNICALL Java_com_android_server_qesta_ZvQestaJniAdapter_nativeWmpCoreTrainData(
    JNIEnv* env, jobject /*thiz*/, jobjectArray rawFingers, jobjectArray params) {
    return runPipelineImpl(env, rawFingers, params, wmpcore::runTrainData, "trainData");
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_android_server_qesta_wavemapping_modelservice_TrainModelService_wmpCoreClusterData(
    JNIEnv* env, jobject /*thiz*/, jobjectArray rawFingers, jobjectArray params) {
    jstring result = runPipelineImpl(env, rawFingers, params, wmpcore::runTrainDataStr, "trainDataStr");
    WMP_LOGI("wmpCoreClusterData end");
    return result;
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_android_server_qesta_wavemapping_modelservice_TrainModelService_nativeGetWmpCoreTrainData(
    JNIEnv* env, jobject /*thiz*/, jobjectArray rawFingers, jobjectArray params) {
    return runPipelineImpl(env, rawFingers, params, wmpcore::runGetCoreData, "getCoreData");
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_android_server_qesta_wavemapping_modelservice_TrainModelService_nativeWmpCoreTrainData(
    JNIEnv* env, jobject /*thiz*/, jobjectArray rawFingers, jobjectArray params) {
    return runPipelineImpl(env, rawFingers, params, wmpcore::runTrainData, "trainData");
}
