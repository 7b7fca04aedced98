package com.android.server.qesta.sim;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/**
 * Input files of the stall command, read as they are replayed: what the
 * kernel's stall module reports per interval (throughput for calls, the
 * watched video's entry for short videos) and what the frame-detection
 * service delivers, each with a fixed header.
 */
final class StallTrace {
    static final String[] THROUGHPUT = {"in_pkts", "out_pkts", "in_bytes", "out_bytes"};
    static final String[] SHORT_VIDEO = {"detect_index", "cur_index", "valid_num", "detect_state", "video",
        "loaded_base", "total", "range_start", "in_bytes", "timescale", "dur"};
    static final String[] FRAMES = {"t_ms", "result"};

    static final long U32_MAX = 0xFFFF_FFFFL;
    private static final int ENTRIES = 10;  // stall-info entries in a short-video report
    private static final int VIDEO_KEY_MAX = 39;  // 40-byte key field, NUL-terminated

    private StallTrace() {}

    /** One throughput report: counts of the last interval, as the module's 32-bit attributes carry them. */
    record Throughput(long inPkts, long outPkts, long inBytes, long outBytes) {}

    /** One short-video report with the entry under detection. */
    record ShortVideo(int detectIndex, long curIndex, long validNum, long detectState, String video,
            long loadedBase, long total, long rangeStart, long inBytes, int timescale, int dur) {
        long loaded() {
            return loadedBase + rangeStart + inBytes;
        }
    }

    /** A result of the frame-detection service, {@code timeMs} after the trace starts. */
    record Frame(long timeMs, int result) {}

    /**
     * Throughput reports of a trace sampled every {@code traceMs} while the
     * module reports every {@code reportMs}: consecutive rows are summed; rows
     * left over at the end that do not fill a report are counted in {@link #leftOver}.
     */
    static final class Calls implements AutoCloseable {
        private final CsvFile mCsv;
        private final int mPer;
        private final int mReportMs;
        private long mLeftOver;
        private long mLeftOverLine;
        private long mReports;

        Calls(Path path, int traceMs, int reportMs) {
            if (traceMs <= 0 || reportMs % traceMs != 0) {
                throw new SimulatorError("--interval " + traceMs + ": the library asks for a report every " + reportMs
                        + " ms; give a trace interval that divides it");
            }
            mCsv = CsvFile.open(path);
            mCsv.requireHeader(THROUGHPUT);
            mPer = reportMs / traceMs;
            mReportMs = reportMs;
        }

        /** The next report, or null at the end of the trace. */
        Throughput next() {
            long[] sum = new long[THROUGHPUT.length];
            long first = -1;
            for (int taken = 0; taken < mPer; taken++) {
                CsvFile.Row row = mCsv.next();
                if (row == null) {
                    if (taken > 0) {
                        mLeftOver = taken;
                        mLeftOverLine = first;
                    } else if (mReports == 0) {
                        throw SimulatorError.at(mCsv.path, mCsv.lines() + 1, 1, "no reports after the header");
                    }
                    return null;
                }
                first = first < 0 ? row.line() : first;
                for (int column = 0; column < sum.length; column++) {
                    sum[column] += mCsv.integer(row, column, 0, U32_MAX);
                }
            }
            for (int column = 0; column < sum.length; column++) {
                if (sum[column] > U32_MAX) {
                    throw SimulatorError.at(mCsv.path, first, column + 1, THROUGHPUT[column] + " of one " + mReportMs
                            + " ms report exceeds " + U32_MAX);
                }
            }
            mReports++;
            return new Throughput(sum[0], sum[1], sum[2], sum[3]);
        }

        /** Rows at the end that did not fill a report, and the line of the first of them. */
        long leftOver() {
            return mLeftOver;
        }

        long leftOverLine() {
            return mLeftOverLine;
        }

        double fractionRead() {
            return mCsv.fractionRead();
        }

        @Override
        public void close() {
            mCsv.close();
        }
    }

    /** Short-video reports, one row each. */
    static final class Videos implements AutoCloseable {
        private final CsvFile mCsv;
        private long mReports;

        Videos(Path path) {
            mCsv = CsvFile.open(path);
            mCsv.requireHeader(SHORT_VIDEO);
        }

        ShortVideo next() {
            CsvFile.Row row = mCsv.next();
            if (row == null) {
                if (mReports == 0) {
                    throw SimulatorError.at(mCsv.path, mCsv.lines() + 1, 1, "no reports after the header");
                }
                return null;
            }
            mReports++;
            String video = row.fields()[4];
            if (video.length() > VIDEO_KEY_MAX) {
                throw SimulatorError.at(mCsv.path, row.line(), 5,
                        "video key longer than " + VIDEO_KEY_MAX + " characters");
            }
            return new ShortVideo((int) mCsv.integer(row, 0, 0, ENTRIES - 1), mCsv.integer(row, 1, 0, U32_MAX),
                    mCsv.integer(row, 2, 0, U32_MAX), mCsv.integer(row, 3, 0, U32_MAX), video,
                    mCsv.integer(row, 5, 0, Long.MAX_VALUE), mCsv.integer(row, 6, 0, Long.MAX_VALUE),
                    mCsv.integer(row, 7, 0, U32_MAX), mCsv.integer(row, 8, 0, U32_MAX),
                    (int) mCsv.integer(row, 9, Integer.MIN_VALUE, Integer.MAX_VALUE),
                    (int) mCsv.integer(row, 10, Integer.MIN_VALUE, Integer.MAX_VALUE));
        }

        double fractionRead() {
            return mCsv.fractionRead();
        }

        @Override
        public void close() {
            mCsv.close();
        }
    }

    /** Frame results in time order, handed out interval by interval. */
    static final class Frames implements AutoCloseable {
        private final CsvFile mCsv;
        private CsvFile.Row mNextRow;
        private Frame mNext;
        private long mLastMs;

        /** {@code path} may be null: no results. */
        Frames(Path path) {
            mCsv = path == null ? null : CsvFile.open(path);
            if (mCsv != null) {
                mCsv.requireHeader(FRAMES);
                advance();
            }
        }

        private void advance() {
            mNextRow = mCsv.next();
            if (mNextRow == null) {
                mNext = null;
                return;
            }
            long time = mCsv.integer(mNextRow, 0, 0, Long.MAX_VALUE);
            if (time < mLastMs) {
                throw SimulatorError.at(mCsv.path, mNextRow.line(), 1, "t_ms " + time + " comes before the "
                        + mLastMs + " of the line above; results must be in time order");
            }
            mLastMs = time;
            mNext = new Frame(time, (int) mCsv.integer(mNextRow, 1, Integer.MIN_VALUE, Integer.MAX_VALUE));
        }

        /** The results given before {@code endMs}. */
        List<Integer> before(long endMs) {
            List<Integer> due = new ArrayList<>();
            while (mNext != null && mNext.timeMs() < endMs) {
                due.add(mNext.result());
                advance();
            }
            return due;
        }

        /** Results not delivered (after the trace's end): their count and the first one's line; null if none. */
        long[] undelivered() {
            if (mNext == null) {
                return null;
            }
            long first = mNextRow.line();
            long count = 0;
            while (mNext != null) {
                count++;
                advance();
            }
            return new long[] {count, first};
        }

        @Override
        public void close() {
            if (mCsv != null) {
                mCsv.close();
            }
        }
    }
}
