#pragma once
// The library's process-wide state. A native gets no user pointer from the
// VM, so the objects the natives drive live here, once per process; each
// owns its own state and lock.

#include <jni.h>

#include "FrameDetection.h"
#include "PolicyChannel.h"
#include "StallSession.h"

namespace mqqoe {
constexpr char kAdapterClass[] = "com/android/server/qesta/ZvQestaJniAdapter";
}  // namespace mqqoe

// Cached by JNI_OnLoad for the threads that attach later.
extern JavaVM* gJavaVm;

// Created on first use and never destroyed: a worker may still be running
// when the process exits.
mqqoe::StallSession& stallSession();
// Destroyed at exit, which drops the process's reference to its listener.
mqqoe::FrameDetection& frameDetection();
mqqoe::PolicyChannel& policyChannel();

// Registers the adapter's twelve natives; the result of RegisterNatives.
int register_jni_method(JNIEnv* env);
