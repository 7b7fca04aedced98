#pragma once
// The Java side of the stall session: the worker's attachment to the cached
// VM, and the adapter object whose class receives handleReportStallInfo.

#include <jni.h>

#include <memory>

#include "StallSession.h"

namespace mqqoe {

class JavaWorkerVm : public StallWorkerVm {
public:
    bool attach() override;
    void detach(bool logFailure) override;
};

// A global reference to the adapter of a start command; its callback runs on
// the worker thread.
[[nodiscard]] std::shared_ptr<StallCallback> newJavaStallCallback(JNIEnv* env, jobject adapter);

}  // namespace mqqoe
