// Natives of com.android.server.qesta.wavemapping.modelservice.TrainModelService,
// found by the VM through their exported names.

#include <jni.h>

#include "WmpCoreGlue.h"
#include "WmpReport.h"

using mqqoe::WmpPipeline;

extern "C" JNIEXPORT jstring JNICALL
Java_com_android_server_qesta_wavemapping_modelservice_TrainModelService_wmpCoreClusterData(
        JNIEnv* env, jobject /*thiz*/, jobjectArray rawFingers, jobjectArray params) {
    jstring result = mqqoe::runWmpPipeline(env, rawFingers, params, WmpPipeline::kTrainDataStr);
    WMP_LOGI("wmpCoreClusterData end");
    return result;
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_android_server_qesta_wavemapping_modelservice_TrainModelService_nativeGetWmpCoreTrainData(
        JNIEnv* env, jobject /*thiz*/, jobjectArray rawFingers, jobjectArray params) {
    return mqqoe::runWmpPipeline(env, rawFingers, params, WmpPipeline::kGetCoreData);
}

extern "C" JNIEXPORT jstring JNICALL
Java_com_android_server_qesta_wavemapping_modelservice_TrainModelService_nativeWmpCoreTrainData(
        JNIEnv* env, jobject /*thiz*/, jobjectArray rawFingers, jobjectArray params) {
    return mqqoe::runWmpPipeline(env, rawFingers, params, WmpPipeline::kTrainData);
}
