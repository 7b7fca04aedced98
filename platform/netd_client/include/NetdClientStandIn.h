#pragma once
// Controls of the host stand-in for the network client library; tests and the
// host simulator steer it through these, never through the library under test.

#ifdef __cplusplus
extern "C" {
#endif

// Result the next calls of setUidNetworkForProcess return (0 = success).
void netdStandInSetResult(int result);
// Calls seen since the last reset, and the arguments of the latest one.
int netdStandInCallCount(void);
unsigned int netdStandInLastNetId(void);
unsigned int netdStandInLastUid(void);
void netdStandInReset(void);

#ifdef __cplusplus
}
#endif
