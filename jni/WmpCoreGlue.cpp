#include "WmpCoreGlue.h"

#include <string>
#include <utility>
#include <vector>

#include "ScopedJni.h"
#include "WmpParam.h"
#include "WmpPipelines.h"
#include "WmpReport.h"

namespace mqqoe {
namespace {

jsize lengthOf(JNIEnv* env, jobjectArray array) { return array != nullptr ? env->GetArrayLength(array) : 0; }

// Copies the elements of a String[], each converted once. Every element's
// local reference is deleted at once, so that large arrays cannot exhaust
// the local reference table.
[[nodiscard]] bool readStrings(JNIEnv* env, jobjectArray array, std::vector<std::string>* out) {
    const jsize count = lengthOf(env, array);
    out->reserve(static_cast<size_t>(count));
    for (jsize i = 0; i < count; ++i) {
        const ScopedLocalRef<jobject> element(env, env->GetObjectArrayElement(array, i));
        if (element.get() == nullptr) {
            if (env->ExceptionCheck()) return false;
            out->emplace_back();
            continue;
        }
        const ScopedUtfChars chars(env, static_cast<jstring>(element.get()));
        if (chars.c_str() == nullptr) return false;
        out->emplace_back(chars.c_str());
    }
    return true;
}

std::string run(WmpPipeline pipeline, std::vector<std::string> rows, const wmpcore::Param& param) {
    switch (pipeline) {
        case WmpPipeline::kTrainDataStr:
            return wmpcore::trainDataStr(std::move(rows), param, {});
        case WmpPipeline::kTrainData:
            return wmpcore::trainData(std::move(rows), param);
        case WmpPipeline::kGetCoreData:
            return wmpcore::getCoreData(std::move(rows), param, {});
    }
    return {};
}

const char* nameOf(WmpPipeline pipeline) {
    switch (pipeline) {
        case WmpPipeline::kTrainDataStr:
            return "trainDataStr";
        case WmpPipeline::kTrainData:
            return "trainData";
        case WmpPipeline::kGetCoreData:
            return "getCoreData";
    }
    return "";
}

}  // namespace

jstring runWmpPipeline(JNIEnv* env, jobjectArray rawFingers, jobjectArray params, WmpPipeline pipeline) {
    try {
        std::vector<std::string> paramList;
        if (!readStrings(env, params, &paramList)) return nullptr;
        const wmpcore::Param param = wmpcore::getParamByArr(std::move(paramList));
        std::vector<std::string> rows;
        if (!readStrings(env, rawFingers, &rows)) return nullptr;
        const std::string text = run(pipeline, std::move(rows), param);
        return env->NewStringUTF(text.c_str());
    } catch (const std::exception& e) {
        // Nothing may unwind into the VM.
        wmpcore::reportException(nameOf(pipeline), e);
    } catch (...) {
        wmpcore::reportUnknownException();
    }
    return nullptr;
}

}  // namespace mqqoe
