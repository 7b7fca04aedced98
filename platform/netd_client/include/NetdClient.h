#pragma once
// The platform network client library's per-uid network selection.

#ifdef __cplusplus
extern "C" {
#endif

// Binds the DNS resolution of `uid` to network `netId`; 0 on success, else the cause.
int setUidNetworkForProcess(unsigned int netId, unsigned int uid);

#ifdef __cplusplus
}
#endif
