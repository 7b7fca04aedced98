#pragma once
// The clustering entry points' common half: both Java classes hand two
// String arrays to one of the three pipelines and get its text back.

#include <jni.h>

namespace mqqoe {

enum class WmpPipeline { kTrainDataStr, kTrainData, kGetCoreData };

// Parses `params`, runs the pipeline over `rawFingers` on the caller's
// thread and returns its text. A null array reads as empty and a null
// element as "". Null when the VM could not give a string's characters (its
// exception is then pending) or the pipeline threw (reported as the core
// reports its own exceptions).
[[nodiscard]] jstring runWmpPipeline(JNIEnv* env, jobjectArray rawFingers, jobjectArray params,
                                     WmpPipeline pipeline);

}  // namespace mqqoe
