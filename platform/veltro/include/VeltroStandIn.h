#pragma once
// Controls of the host stand-in for the frame-detection service; tests and
// the host simulator steer it through these.

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Value GetDetectedTime stores from now on.
void veltroStandInSetDetectedTime(long detectedTime);
// Delivers a detection result to every registered listener on a service
// thread of the stand-in and waits until they have been called.
void veltroStandInNotify(int32_t result);
int veltroStandInRegisterCount(void);
int veltroStandInStartCount(void);
int veltroStandInStopCount(void);
// Type argument of the latest Start/StopFrameDetect call.
int veltroStandInLastType(void);
// Waits up to timeoutMs for at least `count` registrations; 1 when reached.
int veltroStandInWaitRegistrations(int count, int timeoutMs);
// Forgets counts and listeners.
void veltroStandInReset(void);

#ifdef __cplusplus
}
#endif
