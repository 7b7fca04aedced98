#include "ZvQoE_jni.h"

// Placeholders: each returns its documented failure value until implemented.
jintArray sendQoeCmd(JNIEnv*, jobject, jint, jint) { return nullptr; }
jint setDpiMarkRule(JNIEnv*, jobject, jint, jint, jint) { return -1; }
jint resetProcessSockets(JNIEnv*, jobject, jint) { return 61441; }
jint closeProcessSockets(JNIEnv*, jobject, jint, jint) { return 61441; }
jint bindUidProcessToNetwork(JNIEnv*, jobject, jint, jint) { return 61441; }
jint handleSocketStrategy(JNIEnv*, jobject, jint, jint) { return 0; }
