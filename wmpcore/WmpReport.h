#pragma once

#include <exception>

#include <android/log.h>

namespace wmpcore {

// Log tags of the clustering core.
inline constexpr char kTag[] = "WmpCore:";
inline constexpr char kDataSetTag[] = "WmpCore DataSet:";
inline constexpr char kExceptionTag[] = "WmpCore:exception:";
inline constexpr char kParamTag[] = "WmpCore:getParamByArr:";

// Every stage of the core catches its own exceptions, reports them and goes
// on with what it has. A standard exception becomes the line
// "WmpCore:<stage>: <what>" on stdout plus an INFO log "<stage>  : <what> ".
void reportException(const char* stage, const std::exception& e);
// Anything else becomes the line "*********" on stdout and nothing in the log.
void reportUnknownException();
// Writes one line to stdout (the core's trace lines).
void writeStdoutLine(const char* text);

}  // namespace wmpcore

// Every line of the core is INFO; a few stages log under their own tag.
#define WMP_LOGI_AS(tag, ...) ((void)__android_log_print(ANDROID_LOG_INFO, tag, __VA_ARGS__))
#define WMP_LOGI(...) WMP_LOGI_AS(::wmpcore::kTag, __VA_ARGS__)
