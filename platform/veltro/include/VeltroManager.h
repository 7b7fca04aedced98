#pragma once
// Interface of the platform's touch and frame-detection service library.

#include <stdint.h>
#include <utils/RefBase.h>

namespace Veltro {

struct BaseInfo {
    int32_t type;
    int32_t value;
};

struct FrameDetectInfo {
    int32_t result;
    int32_t frameRate;
    int64_t timestamp;
};

class VeltroListener : public virtual android::RefBase {
public:
    virtual void NotifyTouchSenceInfo(BaseInfo info) {}
    virtual void NotifyToQesta(FrameDetectInfo info) {}
    virtual void NotifyGameXsyncState(int state) {}
    virtual void NotifyDirectDeliverState(int state) {}
    virtual ~VeltroListener() {}
};

class VeltroManager {
public:
    static int StartFrameDetect(int type);
    static int StopFrameDetect(int type);
    static int RegisterListener(const android::sp<VeltroListener>& listener);
    static int GetDetectedTime(long& detectedTime);
};

}  // namespace Veltro
