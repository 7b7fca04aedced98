package com.android.server.qesta.sim;

import java.awt.BasicStroke;
import java.awt.Color;
import java.awt.Font;
import java.awt.Paint;
import java.awt.Shape;
import java.awt.geom.Ellipse2D;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Comparator;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;

import org.jfree.chart.ChartFactory;
import org.jfree.chart.JFreeChart;
import org.jfree.chart.LegendItem;
import org.jfree.chart.annotations.XYTextAnnotation;
import org.jfree.chart.LegendItemCollection;
import org.jfree.chart.axis.NumberAxis;
import org.jfree.chart.axis.SymbolAxis;
import org.jfree.chart.plot.CombinedDomainXYPlot;
import org.jfree.chart.plot.DefaultDrawingSupplier;
import org.jfree.chart.plot.IntervalMarker;
import org.jfree.chart.plot.PlotOrientation;
import org.jfree.chart.plot.XYPlot;
import org.jfree.chart.renderer.category.BarRenderer;
import org.jfree.chart.renderer.category.StandardBarPainter;
import org.jfree.chart.renderer.xy.ClusteredXYBarRenderer;
import org.jfree.chart.renderer.xy.DeviationRenderer;
import org.jfree.chart.renderer.xy.StandardXYBarPainter;
import org.jfree.chart.renderer.xy.XYItemRenderer;
import org.jfree.chart.renderer.xy.XYLineAndShapeRenderer;
import org.jfree.chart.title.TextTitle;
import org.jfree.data.category.DefaultCategoryDataset;
import org.jfree.data.xy.XYSeries;
import org.jfree.data.xy.XYDataset;
import org.jfree.data.xy.XYSeriesCollection;
import org.jfree.data.xy.YIntervalSeries;
import org.jfree.data.xy.YIntervalSeriesCollection;
import org.jfree.ui.Layer;
import org.jfree.util.ShapeUtilities;

/** The report's charts, drawn by JFreeChart. */
final class Charts {
    private static final Color STALL = new Color(0xC6, 0x28, 0x28);
    private static final Color FRAME_PASSED_ON = new Color(0xEF, 0x6C, 0x00);
    private static final Color NOT_CLUSTERED = new Color(0xBD, 0xBD, 0xBD);
    private static final Color IN = new Color(0x1F77B4);
    private static final Color OUT = new Color(0x98DF8A);
    private static final Color VERDICT = new Color(0x9467BD);
    private static final Color FRAME_RESULT = new Color(0x17BECF);
    private static final Color SILENCE = new Color(0xD6, 0x27, 0x28, 0x30);
    private static final Color FRAME_SHADE = new Color(0xEF, 0x6C, 0x00, 0x30);
    private static final Color VERDICT_BEST = new Color(0xC5B0D5);
    private static final int MAX_SHADED = 200;  // episodes shaded; beyond, the callback bars show them
    // Colours told apart at a glance, none of them grey (grey is "no cluster").
    private static final Color[] PALETTE = Arrays.stream(new int[] {0x1F77B4, 0xFF7F0E, 0x2CA02C, 0xD62728,
        0x9467BD, 0x8C564B, 0xE377C2, 0xBCBD22, 0x17BECF, 0xAEC7E8, 0xFFBB78, 0x98DF8A, 0xFF9896, 0xC5B0D5,
        0xC49C94, 0xF7B6D2, 0xDBDB8D, 0x9EDAE5, 0x393B79, 0x637939, 0x8C6D31, 0x843C39, 0x7B4173})
            .mapToObj(Color::new).toArray(Color[]::new);
    private static final int MAX_CLUSTER_LEGEND = 30;
    private static final double GOLDEN_ANGLE = 0.381966;  // of a turn: neighbours in order land far apart
    private static final double BAR_SHARE = 0.8;  // of an interval, so that neighbouring reports stay apart

    private Charts() {}

    /**
     * A stall session over time, drawn from its envelope: per bucket of
     * reports the mean as a line and the minimum to maximum as a band, the
     * detector's best and worst verdict, the frame service's results, the
     * callbacks, and each stall episode shaded across all parts.
     */
    static JFreeChart timeline(StallSession session) {
        Envelope env = session.envelope;
        boolean video = StallReplay.isShortVideo(session.scene);
        CombinedDomainXYPlot plot = new CombinedDomainXYPlot(new NumberAxis("time (s)"));
        plot.setGap(8);
        List<XYPlot> parts = new ArrayList<>();
        parts.add(band(session, 0, session.countSeries, video ? "detect_state" : "packets"));
        parts.add(band(session, session.countSeries.length, session.byteSeries, "bytes"));

        XYSeries worst = new XYSeries("worst verdict in bucket");
        XYSeries best = new XYSeries("best verdict in bucket");
        XYSeries frameMax = new XYSeries("frame result, max");
        XYSeries frameMin = new XYSeries("frame result, min");
        XYSeries stalls = new XYSeries("stall callbacks (kind 0)");
        XYSeries passedOn = new XYSeries("frame results passed on (kind 1)");
        for (int b = 0; b < env.buckets(); b++) {
            double x = middle(session, b);
            int v = session.verdictSeries();
            if (env.has(v, b)) {
                worst.add(x, env.max(v, b) - Verdict.REJECTED);
                best.add(x, env.min(v, b) - Verdict.REJECTED);
            }
            if (env.has(session.frameSeries(), b)) {
                frameMax.add(x, env.max(session.frameSeries(), b));
                frameMin.add(x, env.min(session.frameSeries(), b));
            }
            stalls.add(x, env.sum(session.callbackSeries(0), b));
            passedOn.add(x, env.sum(session.callbackSeries(1), b));
        }
        XYSeriesCollection verdicts = new XYSeriesCollection(worst);
        verdicts.addSeries(best);
        parts.add(points(verdicts, new SymbolAxis("verdict", Verdict.levels(session.scene)), VERDICT, VERDICT_BEST));
        if (!frameMax.isEmpty()) {
            XYSeriesCollection frames = new XYSeriesCollection(frameMax);
            frames.addSeries(frameMin);
            parts.add(points(frames, new NumberAxis("frame result"), FRAME_RESULT, FRAME_RESULT));
        }
        XYSeriesCollection calls = new XYSeriesCollection(stalls);
        calls.addSeries(passedOn);
        XYPlot callbackPlot = bars(calls, bucketSeconds(session) * BAR_SHARE, "callbacks");
        callbackPlot.getRenderer().setSeriesPaint(0, STALL);
        callbackPlot.getRenderer().setSeriesPaint(1, FRAME_PASSED_ON);
        parts.add(callbackPlot);
        shadeEpisodes(session, parts);
        parts.forEach(part -> plot.add(part, part == callbackPlot ? 2 : 3));
        JFreeChart chart = new JFreeChart(session.title, JFreeChart.DEFAULT_TITLE_FONT, plot, true);
        String buckets = env.perBucket() == 1 ? "one point per report"
                : "one point per " + env.perBucket() + " reports: line = mean, band = minimum to maximum";
        chart.addSubtitle(new TextTitle(thresholds(session) + "; " + buckets + "; shaded: stall episodes"));
        chart.setBackgroundPaint(Color.WHITE);
        return chart;
    }

    private static double bucketSeconds(StallSession session) {
        return session.envelope.perBucket() * session.intervalMs / 1000.0;
    }

    /** The middle of a bucket's reports, in seconds; a report sits at the end of its interval. */
    private static double middle(StallSession session, int bucket) {
        double first = (session.envelope.firstReport(bucket) + 1) * session.intervalMs / 1000.0;
        return first + (bucketSeconds(session) - session.intervalMs / 1000.0) / 2;
    }

    /** Mean line and min-max band of some series of the envelope. */
    private static XYPlot band(StallSession session, int firstSeries, String[] names, String label) {
        YIntervalSeriesCollection data = new YIntervalSeriesCollection();
        for (int i = 0; i < names.length; i++) {
            YIntervalSeries series = new YIntervalSeries(names[i]);
            for (int b = 0; b < session.envelope.buckets(); b++) {
                if (session.envelope.has(firstSeries + i, b)) {
                    series.add(middle(session, b), session.envelope.mean(firstSeries + i, b),
                            session.envelope.min(firstSeries + i, b), session.envelope.max(firstSeries + i, b));
                }
            }
            data.addSeries(series);
        }
        DeviationRenderer renderer = new DeviationRenderer(true, session.envelope.perBucket() == 1);
        Color[] colours = {IN, OUT};
        for (int i = 0; i < names.length; i++) {
            renderer.setSeriesPaint(i, colours[i % colours.length]);
            renderer.setSeriesFillPaint(i, colours[i % colours.length]);
            renderer.setSeriesStroke(i, new BasicStroke(1.2f));
            renderer.setSeriesShape(i, new Ellipse2D.Double(-2, -2, 4, 4));
        }
        renderer.setAlpha(0.35f);
        return plot(data, new NumberAxis(label), renderer);
    }

    /** Shades the first episodes, one colour per rule; the episode table has the figures. */
    private static void shadeEpisodes(StallSession session, List<XYPlot> parts) {
        int drawn = 0;
        for (Episodes.Episode episode : session.episodes.kept()) {
            if (drawn++ == MAX_SHADED) {
                break;
            }
            Color colour = episode.rule() == Episodes.Rule.FRAMES ? FRAME_SHADE : SILENCE;
            for (XYPlot part : parts) {
                part.addDomainMarker(new IntervalMarker(episode.startMs() / 1000.0, episode.endMs() / 1000.0, colour),
                        Layer.BACKGROUND);
            }
        }
    }

    /** The session's thresholds in words. */
    static String thresholds(StallSession session) {
        String text = "reports every " + session.intervalMs + " ms; ";
        if (StallReplay.isShortVideo(session.scene)) {
            return text + "a stall verdict is passed on at most every N = " + session.countThreshold() + " reports";
        }
        text += "no-traffic N = " + session.countThreshold() + " silent reports";
        if (session.frameHoldReports() > 0) {
            text += ", frame-hold = " + session.frameHoldReports() + " reports of result 2";
        }
        return text;
    }

    private static XYPlot bars(XYSeriesCollection data, double width, String label) {
        data.setIntervalWidth(width);
        ClusteredXYBarRenderer renderer = new ClusteredXYBarRenderer();
        renderer.setBarPainter(new StandardXYBarPainter());
        renderer.setShadowVisible(false);
        renderer.setSeriesPaint(0, IN);
        renderer.setSeriesPaint(1, OUT);
        return plot(data, new NumberAxis(label), renderer);
    }

    private static XYPlot points(XYSeriesCollection data, NumberAxis axis, Color colour, Color second) {
        XYLineAndShapeRenderer renderer = new XYLineAndShapeRenderer(false, true);
        renderer.setSeriesPaint(0, colour);
        renderer.setSeriesPaint(1, second);
        return plot(data, axis, renderer);
    }

    private static XYPlot plot(XYDataset data, NumberAxis axis, XYItemRenderer renderer) {
        XYPlot plot = new XYPlot(data, null, axis, renderer);
        plot.setBackgroundPaint(Color.WHITE);
        plot.setRangeGridlinePaint(Color.LIGHT_GRAY);
        plot.setDomainGridlinePaint(Color.LIGHT_GRAY);
        return plot;
    }

    /**
     * Scans where they were taken (UJIIndoorLoc's UTM metres): colour = the
     * cluster of the scan's batch (grey: none), marker = building and floor.
     */
    static JFreeChart map(ClusterInput input, ClusterRun.Clustering clustering) {
        List<String> places = input.scans.stream().map(ClusterInput.Scan::place).distinct().sorted().toList();
        Map<Integer, List<ClusterInput.Scan>> byCluster = new TreeMap<>();
        for (ClusterInput.Scan scan : input.scans) {
            byCluster.computeIfAbsent(clustering.clusterOfBatch().getOrDefault(scan.batch(), 0), c -> new ArrayList<>())
                    .add(scan);
        }
        XYSeriesCollection data = new XYSeriesCollection();
        Shape[] shapes = shapes();
        // The marker of every item, by series: the chart travels serialized, so
        // the renderer keeps plain numbers rather than the scans.
        int[][] shapeOfItem = new int[byCluster.size()][];
        for (Map.Entry<Integer, List<ClusterInput.Scan>> entry : byCluster.entrySet()) {
            XYSeries series = new XYSeries(entry.getKey() == 0 ? "no cluster" : "cluster " + entry.getKey(), false);
            entry.getValue().forEach(scan -> series.add(scan.x(), scan.y()));
            shapeOfItem[data.getSeriesCount()] = entry.getValue().stream()
                    .mapToInt(scan -> places.indexOf(scan.place()) % shapes.length).toArray();
            data.addSeries(series);
        }
        XYLineAndShapeRenderer renderer = new XYLineAndShapeRenderer(false, true) {
            private static final long serialVersionUID = 1L;

            @Override
            public Shape getItemShape(int series, int item) {
                return shapes[shapeOfItem[series][item]];
            }
        };
        LegendItemCollection legend = new LegendItemCollection();
        for (int s = 0; s < data.getSeriesCount(); s++) {
            boolean none = byCluster.containsKey(0) && s == 0;
            Paint paint = none ? NOT_CLUSTERED : colour(s);
            renderer.setSeriesPaint(s, paint);
            if (data.getSeriesCount() <= MAX_CLUSTER_LEGEND) {
                legend.add(new LegendItem(data.getSeriesKey(s).toString(), paint));
            }
        }
        for (int p = 0; p < places.size(); p++) {
            legend.add(new LegendItem(places.get(p), "", "", "", shapes[p % shapes.length], Color.DARK_GRAY));
        }
        NumberAxis x = new NumberAxis("longitude (m)");
        NumberAxis y = new NumberAxis("latitude (m)");
        x.setAutoRangeIncludesZero(false);
        y.setAutoRangeIncludesZero(false);
        XYPlot plot = plot(data, y, renderer);
        plot.setDomainAxis(x);
        plot.setFixedLegendItems(legend);
        if (byCluster.size() > MAX_CLUSTER_LEGEND) {
            labelClusters(plot, byCluster);
        }
        JFreeChart chart = new JFreeChart(clustering.name(), JFreeChart.DEFAULT_TITLE_FONT, plot, true);
        chart.addSubtitle(new TextTitle("colour = cluster, marker = building (b) and floor (f)"
                + (byCluster.size() > MAX_CLUSTER_LEGEND ? "; numbers: clusters, at the middle of their scans" : "")));
        chart.setBackgroundPaint(Color.WHITE);
        return chart;
    }

    /**
     * The i-th colour: the fixed palette, then hues a golden angle apart in
     * four shades, so that a hundred clusters never share a colour.
     */
    static Color colour(int i) {
        if (i < PALETTE.length) {
            return PALETTE[i];
        }
        int k = i - PALETTE.length;
        float hue = (float) ((k * GOLDEN_ANGLE) % 1.0);
        float saturation = k / 4 % 2 == 0 ? 0.85f : 0.55f;
        float brightness = k % 4 < 2 ? 0.85f : 0.6f;
        return Color.getHSBColor(hue, saturation, brightness);
    }

    /** The cluster's number at the middle of its scans, where colours alone could be mistaken. */
    private static void labelClusters(XYPlot plot, Map<Integer, List<ClusterInput.Scan>> byCluster) {
        for (Map.Entry<Integer, List<ClusterInput.Scan>> entry : byCluster.entrySet()) {
            if (entry.getKey() == 0) {
                continue;
            }
            double x = entry.getValue().stream().mapToDouble(ClusterInput.Scan::x).average().orElse(0);
            double y = entry.getValue().stream().mapToDouble(ClusterInput.Scan::y).average().orElse(0);
            XYTextAnnotation label = new XYTextAnnotation(Integer.toString(entry.getKey()), x, y);
            label.setFont(new Font(Font.SANS_SERIF, Font.BOLD, 10));
            label.setBackgroundPaint(new Color(255, 255, 255, 0xB0));
            plot.addAnnotation(label);
        }
    }

    private static Shape[] shapes() {
        List<Shape> shapes = new ArrayList<>(Arrays.asList(DefaultDrawingSupplier.createStandardSeriesShapes()));
        shapes.add(ShapeUtilities.createDiagonalCross(3, 1));
        shapes.add(ShapeUtilities.createRegularCross(3, 1));
        shapes.add(ShapeUtilities.createDiamond(5));
        return shapes.toArray(new Shape[0]);
    }

    /** Scans of each cluster, stacked by the place they were truly taken at. */
    static JFreeChart placesAgainstClusters(ClusterRun.Clustering clustering) {
        DefaultCategoryDataset data = new DefaultCategoryDataset();
        // Places in natural order (place 2 before place 10), so that colours follow them.
        clustering.placesOfCluster().values().stream().flatMap(places -> places.keySet().stream()).distinct()
                .sorted(Comparator.comparingInt(String::length).thenComparing(Comparator.naturalOrder()))
                .forEach(place -> data.addValue(null, "place " + place, "0"));
        data.removeColumn("0");
        for (Map.Entry<Integer, Map<String, Integer>> cluster : clustering.placesOfCluster().entrySet()) {
            for (Map.Entry<String, Integer> place : cluster.getValue().entrySet()) {
                data.addValue(place.getValue(), "place " + place.getKey(), Integer.toString(cluster.getKey()));
            }
        }
        JFreeChart chart = ChartFactory.createStackedBarChart(clustering.name(), "cluster", "scans", data,
                PlotOrientation.VERTICAL, true, false, false);
        chart.addSubtitle(new TextTitle("one colour per true place: a pure cluster is a bar of one colour"));
        chart.setBackgroundPaint(Color.WHITE);
        chart.getCategoryPlot().setBackgroundPaint(Color.WHITE);
        chart.getCategoryPlot().setRangeGridlinePaint(Color.LIGHT_GRAY);
        BarRenderer renderer = (BarRenderer) chart.getCategoryPlot().getRenderer();
        renderer.setBarPainter(new StandardBarPainter());
        for (int row = 0; row < data.getRowCount(); row++) {
            renderer.setSeriesPaint(row, colour(row));
        }
        return chart;
    }
}
