#include "NetlinkHandler.h"
// Work in progress.
NetlinkHandler* NetlinkHandler::Instance() { static NetlinkHandler* sInstance = new NetlinkHandler(); return sInstance; }
NetlinkHandler::NetlinkHandler() = default;
NetlinkHandler::~NetlinkHandler() = default;
int NetlinkHandler::start() { return -1; }
int NetlinkHandler::stop() { return 0; }
int NetlinkHandler::setDetectionType(int) { return -1; }
int NetlinkHandler::setDetectionAlgo(int) { return 0; }
int NetlinkHandler::setAwemeCatonPara(int, int, int, int, int, int, int, int, int) { return 0; }
int NetlinkHandler::startCollecting() { return -1; }
int NetlinkHandler::stopCollecting() { return 0; }
int NetlinkHandler::getDetectionResult(int*, int*, int*, bool&) { return -1; }
int NetlinkHandler::getThroughputStats(unsigned long*, unsigned long*) const { return 0; }
