#pragma once
// Interface of the platform's touch and frame-detection service library.

#include <stddef.h>
#include <stdint.h>
#include <utils/RefBase.h>

namespace Veltro {

// Both records cross the library boundary by value, in the service's layout.
struct BaseInfo {
    int32_t type;
    int32_t value;
};
static_assert(sizeof(BaseInfo) == 8 && offsetof(BaseInfo, value) == 4, "BaseInfo layout");

struct FrameDetectInfo {
    int32_t result;
    int32_t frameRate;
    int64_t timestamp;
};
static_assert(sizeof(FrameDetectInfo) == 16 && alignof(FrameDetectInfo) == 8 &&
                  offsetof(FrameDetectInfo, frameRate) == 4 && offsetof(FrameDetectInfo, timestamp) == 8,
              "FrameDetectInfo layout");

// GetDetectedTime fills a long: 64 bits on the device, as on every LP64 host.
static_assert(sizeof(long) == 8, "the detected time is a 64-bit long");

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
