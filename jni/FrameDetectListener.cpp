#include "FrameDetectListener.h"

#include "ZvQoE_jni.h"

int VeltroFrameDetectListener::result = -1;

void VeltroFrameDetectListener::NotifyToQesta(Veltro::FrameDetectInfo /*info*/) {}

VeltroFrameDetectListener::~VeltroFrameDetectListener() = default;

jint startFrameDetect(JNIEnv*, jobject, jint) { return 1; }
jint stopFrameDetect(JNIEnv*, jobject) { return 1; }
jint getCurFrameDetectResult(JNIEnv*, jobject) { return 0; }
