package com.android.server.qesta;

/** Per-uid UDP socket counts and TCP/UDP totals, filled by the library. */
public class ZvQoeUdpNetworkInfo {
    public int mUid;
    public int mUidUdpSockets;
    public int mSumUdpUids;
    public int mSumUdpSockets;
    public long mRxTcpBytes;
    public long mRxTcpPackets;
    public long mTxTcpBytes;
    public long mTxTcpPackets;
    public long mRxUdpBytes;
    public long mRxUdpPackets;
    public long mTxUdpBytes;
    public long mTxUdpPackets;
    public long mSumRxPackets;

    public ZvQoeUdpNetworkInfo() {}
}
