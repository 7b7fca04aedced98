package com.android.server.qesta.sim;

import java.io.Serializable;

/**
 * A fixed number of buckets over a stream of reports, each keeping the
 * minimum, maximum and mean of every series, so that a chart of any trace
 * draws the same number of points and a single report's dip or peak is
 * never averaged away. When the buckets are full, neighbours merge and each
 * bucket covers twice as many reports.
 */
final class Envelope implements Serializable {
    private static final long serialVersionUID = 1L;

    private final int mCapacity;
    private final double[][] mMin;
    private final double[][] mMax;
    private final double[][] mSum;
    private final long[][] mCount;
    private long mPerBucket = 1;
    private int mUsed;

    Envelope(int series, int capacity) {
        mCapacity = capacity;
        mMin = new double[series][capacity];
        mMax = new double[series][capacity];
        mSum = new double[series][capacity];
        mCount = new long[series][capacity];
    }

    /** Adds one value of one series for report {@code index} (from 0, in order). */
    void add(long index, int series, double value) {
        int bucket = bucketOf(index);
        if (mCount[series][bucket] == 0) {
            mMin[series][bucket] = value;
            mMax[series][bucket] = value;
        } else {
            mMin[series][bucket] = Math.min(mMin[series][bucket], value);
            mMax[series][bucket] = Math.max(mMax[series][bucket], value);
        }
        mSum[series][bucket] += value;
        mCount[series][bucket]++;
    }

    private int bucketOf(long index) {
        while (index / mPerBucket >= mCapacity) {
            halve();
        }
        int bucket = (int) (index / mPerBucket);
        mUsed = Math.max(mUsed, bucket + 1);
        return bucket;
    }

    /** Merges each pair of neighbouring buckets. */
    private void halve() {
        for (int s = 0; s < mMin.length; s++) {
            for (int b = 0; b < mCapacity; b++) {
                int from = 2 * b;
                if (from >= mCapacity) {
                    mCount[s][b] = 0;
                    mSum[s][b] = 0;
                    continue;
                }
                double min = Double.POSITIVE_INFINITY;
                double max = Double.NEGATIVE_INFINITY;
                double sum = 0;
                long count = 0;
                for (int k = from; k < Math.min(from + 2, mCapacity); k++) {
                    if (mCount[s][k] > 0) {
                        min = Math.min(min, mMin[s][k]);
                        max = Math.max(max, mMax[s][k]);
                        sum += mSum[s][k];
                        count += mCount[s][k];
                    }
                }
                mMin[s][b] = min;
                mMax[s][b] = max;
                mSum[s][b] = sum;
                mCount[s][b] = count;
            }
        }
        mPerBucket *= 2;
        mUsed = (mUsed + 1) / 2;
    }

    int buckets() {
        return mUsed;
    }

    /** Reports per bucket. */
    long perBucket() {
        return mPerBucket;
    }

    /** Index of the first report of a bucket. */
    long firstReport(int bucket) {
        return bucket * mPerBucket;
    }

    boolean has(int series, int bucket) {
        return mCount[series][bucket] > 0;
    }

    double min(int series, int bucket) {
        return mMin[series][bucket];
    }

    double max(int series, int bucket) {
        return mMax[series][bucket];
    }

    double mean(int series, int bucket) {
        return mSum[series][bucket] / mCount[series][bucket];
    }

    double sum(int series, int bucket) {
        return mSum[series][bucket];
    }
}
