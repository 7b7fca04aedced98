package com.android.server.qesta.sim;

import java.io.IOException;
import java.io.ObjectInputStream;
import java.io.ObjectOutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;

import org.jfree.chart.ChartUtilities;
import org.jfree.chart.JFreeChart;
import org.jfree.chart.plot.CategoryPlot;
import org.jfree.chart.plot.CombinedDomainXYPlot;
import org.jfree.chart.plot.Plot;
import org.jfree.chart.plot.XYPlot;

/**
 * Draws a report's charts in a VM of its own. The simulator's VM checks every
 * JNI call (-Xcheck:jni) for the library's sake, and the JDK's own font code
 * draws complaints from that check; the painter's VM never loads the library.
 */
final class ChartPainter {
    /** One chart to draw: where, and at what size. */
    record Job(Path png, JFreeChart chart, int width, int height) {}

    private static final long TIMEOUT_S = 120;

    private ChartPainter() {}

    /** Draws every job as its PNG in a child VM; the charts travel serialized. */
    static void paint(List<Job> jobs, Path workDir) throws IOException {
        Path batch = workDir.resolve("charts.ser");
        try (ObjectOutputStream out = new ObjectOutputStream(Files.newOutputStream(batch))) {
            out.writeInt(jobs.size());
            for (Job job : jobs) {
                out.writeUTF(job.png().toString());
                out.writeObject(job.chart());
                out.writeInt(job.width());
                out.writeInt(job.height());
            }
        }
        String java = Path.of(System.getProperty("java.home"), "bin", "java").toString();
        ProcessBuilder child = new ProcessBuilder(java, "-Djava.awt.headless=true", "-cp",
                System.getProperty("java.class.path"), ChartPainter.class.getName(), batch.toString());
        child.environment().remove("LD_PRELOAD");
        child.inheritIO();
        try {
            Process process = child.start();
            if (!process.waitFor(TIMEOUT_S, TimeUnit.SECONDS)) {
                process.destroyForcibly();
                throw new IOException("drawing the charts took longer than " + TIMEOUT_S + " s");
            }
            if (process.exitValue() != 0) {
                throw new IOException("drawing the charts failed (exit " + process.exitValue() + ")");
            }
        } catch (InterruptedException e) {
            Thread.currentThread().interrupt();
            throw new IOException("interrupted while drawing the charts", e);
        } finally {
            Files.deleteIfExists(batch);
        }
    }

    // A deserialized axis keeps the range it had when it was written, which
    // for a chart never drawn is the default one: let it fit its data again.
    private static void configureRangeAxes(Plot plot) {
        if (plot instanceof CombinedDomainXYPlot combined) {
            for (Object part : combined.getSubplots()) {
                configureRangeAxes((Plot) part);
            }
        } else if (plot instanceof XYPlot xy) {
            xy.configureRangeAxes();
        } else if (plot instanceof CategoryPlot category) {
            category.configureRangeAxes();
        }
    }

    public static void main(String[] args) throws Exception {
        List<Job> jobs = new ArrayList<>();
        try (ObjectInputStream in = new ObjectInputStream(Files.newInputStream(Path.of(args[0])))) {
            for (int count = in.readInt(); count > 0; count--) {
                jobs.add(new Job(Path.of(in.readUTF()), (JFreeChart) in.readObject(), in.readInt(), in.readInt()));
            }
        }
        for (Job job : jobs) {
            configureRangeAxes(job.chart().getPlot());
            ChartUtilities.saveChartAsPNG(job.png().toFile(), job.chart(), job.width(), job.height());
        }
    }
}
