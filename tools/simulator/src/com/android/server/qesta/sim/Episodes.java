package com.android.server.qesta.sim;

import java.util.ArrayList;
import java.util.EnumMap;
import java.util.List;
import java.util.Map;
import java.util.TreeSet;
import java.util.function.Consumer;

/**
 * Stall episodes of a session, found as the reports stream by: a run of
 * reports in which one reporting rule of the session kept firing. Each
 * episode starts where its cause started (the first silent report for the
 * no-traffic rule, the first report the detector called a stall for the
 * detector rule) and ends with the last report of the run.
 */
final class Episodes {
    /** The session's reporting rules, as the callback shows which one fired. */
    enum Rule {
        NO_TRAFFIC("no-traffic rule"),
        DETECTOR("detector rule"),
        FIRST_REPORT("short-video flag rule"),
        FRAMES("frame-detection rule");

        final String label;

        Rule(String label) {
            this.label = label;
        }
    }

    /** One episode; times in ms from the start of the trace. */
    record Episode(Rule rule, long startMs, long endMs, long detectedMs, int callbacks, String values) {
        long durationMs() {
            return endMs - startMs;
        }
    }

    /** What one report contributes: its time span, whether it carried traffic, the detector's level, its callbacks. */
    record Report(long startMs, long endMs, boolean silent, boolean detectorStall, List<StallSession.Callback> calls) {}

    private static final int KEPT = 500;  // episodes kept for the report's table; all go to the CSV

    private final int mScene;
    private final List<Episode> mKept = new ArrayList<>();
    private final Map<Rule, Open> mOpen = new EnumMap<>(Rule.class);
    private final Map<Rule, long[]> mTotals = new EnumMap<>(Rule.class);  // count, total ms, longest ms
    private final Consumer<Episode> mSink;
    private long mSilentSince = -1;
    private long mStallSince = -1;

    private static final class Open {
        long startMs;
        long endMs;
        long detectedMs;
        int callbacks;
        final TreeSet<Integer> values = new TreeSet<>();
    }

    Episodes(int scene, Consumer<Episode> sink) {
        mScene = scene;
        mSink = sink;
    }

    /** The rule a callback of this session's scene came from. */
    static Rule ruleOf(int scene, StallSession.Callback call) {
        if (call.kind() == 1) {
            return Rule.FRAMES;
        }
        boolean callScene = scene == StallReplay.VOICE_CALL || scene == StallReplay.VIDEO_CALL;
        if (callScene && call.value() == 1) {
            return Rule.NO_TRAFFIC;
        }
        return scene == StallReplay.SHORT_VIDEO_FLAG_SCENE && call.flag() ? Rule.FIRST_REPORT : Rule.DETECTOR;
    }

    void add(Report report) {
        mSilentSince = report.silent() ? (mSilentSince < 0 ? report.startMs() : mSilentSince) : -1;
        mStallSince = report.detectorStall() ? (mStallSince < 0 ? report.startMs() : mStallSince) : -1;
        Map<Rule, List<StallSession.Callback>> fired = new EnumMap<>(Rule.class);
        for (StallSession.Callback call : report.calls()) {
            fired.computeIfAbsent(ruleOf(mScene, call), r -> new ArrayList<>()).add(call);
        }
        for (Rule rule : Rule.values()) {
            List<StallSession.Callback> calls = fired.get(rule);
            Open open = mOpen.get(rule);
            if (calls == null && open != null && continues(rule, report)) {
                open.endMs = report.endMs();
            } else if (calls == null && open != null) {
                close(rule);
            } else if (calls != null) {
                Open episode = open != null ? open : begin(rule, report);
                episode.endMs = report.endMs();
                episode.callbacks += calls.size();
                calls.forEach(call -> episode.values.add(call.value()));
            }
        }
    }

    private Open begin(Rule rule, Report report) {
        Open open = new Open();
        open.startMs = startOf(rule, report);
        open.detectedMs = report.endMs();
        mOpen.put(rule, open);
        return open;
    }

    /** A report without a callback still belongs to an open episode while its cause lasts. */
    private boolean continues(Rule rule, Report report) {
        return switch (rule) {
            case NO_TRAFFIC -> report.silent();
            case DETECTOR -> report.detectorStall();  // the rule fires every N reports while it lasts
            default -> false;
        };
    }

    private long startOf(Rule rule, Report report) {
        return switch (rule) {
            case NO_TRAFFIC -> mSilentSince >= 0 ? mSilentSince : report.startMs();
            case DETECTOR -> mStallSince >= 0 ? mStallSince : report.startMs();
            default -> report.startMs();
        };
    }

    private void close(Rule rule) {
        Open open = mOpen.remove(rule);
        Episode episode = new Episode(rule, open.startMs, open.endMs, open.detectedMs, open.callbacks,
                open.values.toString().replaceAll("[\\[\\]]", ""));
        long[] totals = mTotals.computeIfAbsent(rule, r -> new long[3]);
        totals[0]++;
        totals[1] += episode.durationMs();
        totals[2] = Math.max(totals[2], episode.durationMs());
        if (mKept.size() < KEPT) {
            mKept.add(episode);
        }
        mSink.accept(episode);
    }

    /** Closes the episodes still open at the end of the trace. */
    void finish() {
        for (Rule rule : Rule.values()) {
            if (mOpen.containsKey(rule)) {
                close(rule);
            }
        }
    }

    /** The first episodes, in the order they ended. */
    List<Episode> kept() {
        return mKept;
    }

    /** Per rule: episodes, their total and their longest duration in ms. */
    Map<Rule, long[]> totals() {
        return mTotals;
    }

    long count() {
        return mTotals.values().stream().mapToLong(t -> t[0]).sum();
    }
}
