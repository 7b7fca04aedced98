#pragma once
// The stall engine's words for what went wrong on its generic netlink
// channel, per step: opening, the family lookup, and the wait for an
// acknowledgement or a report. Each logs at ERROR under the engine's tag,
// with the errno the channel kept when the failing call returned.

#include "GenlChannel.h"

namespace mqqoe::korun {

void logOpenFailure(const nl::ChannelFailure& failure);
void logLookupFailure(const nl::ChannelFailure& failure);
// `recvFailure`: what a failed receive is called at this step.
void logWaitFailure(const nl::ChannelFailure& failure, const char* recvFailure);

}  // namespace mqqoe::korun
