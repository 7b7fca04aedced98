#include "ZvQoE_jni.h"

// Placeholder: returns its documented failure value until implemented.
jint sendQoeStallDetectCmd(JNIEnv*, jobject, jint, jint, jint, jint, jint) { return -1; }
