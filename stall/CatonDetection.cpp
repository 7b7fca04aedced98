#include "CatonDetection.h"

#include "securec.h"

SampleRing allocateRing(int32_t count) {
    if (count < 1) return nullptr;
    static_assert(sizeof(size_t) == 8, "any int32 count of samples has a size that does not wrap");
    size_t size = static_cast<size_t>(count) * sizeof(int32_t);
    SampleRing ring(static_cast<int32_t*>(std::malloc(size)));
    if (ring && memset_s(ring.get(), size, 0, size) != EOK) ring.reset();
    return ring;
}

CatonDetection::CatonDetection(int32_t interval, int32_t algoType, float algoThreshold)
    : mInterval(interval), mAlgoType(algoType), mAlgoThreshold(algoThreshold) {}

CatonDetection::~CatonDetection() = default;

int CatonDetection::inputSample(int, int, int*) { return 0; }

int CatonDetection::inputSample(void*, int*, bool&) { return 0; }

int CatonDetection::setDetectionAlgoType(int) { return 0; }

void CatonDetection::setAwemeCatonPara(int, int, int, int, int, int, int, int, int) {}

int CatonDetection::setInterval(int) { return 0; }
