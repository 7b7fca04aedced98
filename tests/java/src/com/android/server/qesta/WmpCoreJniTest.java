package com.android.server.qesta;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.android.server.qesta.testing.LogCapture;
import com.android.server.qesta.wavemapping.modelservice.TrainModelService;

import java.io.File;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The six clustering natives, reached through the adapter and the model service. */
class WmpCoreJniTest {
    private static final String[] LOOSE = {"minDistinctValue=0", "minStdev=-1"};
    private static final String[] LEVELS = {"-50,-70", "-52,-72", "0,-40"};
    private static final String MODEL_HEADER = "batch,label,timestamp,link_speed,b1,b2,prelabel;";

    interface Native {
        String call(String[] rows, String[] params);
    }

    private final ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();
    private final TrainModelService service = new TrainModelService();
    private final List<Native> trainData = List.of(adapter::nativeWmpCoreTrainData, service::nativeWmpCoreTrainData);
    private final List<Native> clusterData = List.of(adapter::nativeWmpCoreClusterData, service::wmpCoreClusterData);
    private final List<Native> coreData =
            List.of(adapter::nativeGetWmpCoreTrainData, service::nativeGetWmpCoreTrainData);

    @TempDir Path dir;

    @BeforeAll
    static void installLog() {
        LogCapture.install();
    }

    @BeforeEach
    void clearLog() {
        LogCapture.clear();
    }

    /** Batches a and b at one place, c at another, five scans each; orginBatch is ten times batch. */
    private static List<String> placeRows(int... batches) {
        List<String> rows = new ArrayList<>(List.of("orginBatch,batch,label,timestamp,link_speed,b1,b2"));
        for (int i = 0; i < 15; i++) {
            rows.add((10 * batches[i / 5]) + "," + batches[i / 5] + ",L,t" + i + ",72," + LEVELS[i / 5]);
        }
        return rows;
    }

    @Test
    void eachPipelineThroughBothClasses() {
        // The native suite checks the texts byte for byte; here each native must reach its own pipeline.
        String[] first = placeRows(1, 2, 3).toArray(new String[0]);
        String[] rows = placeRows(4, 8, 15).toArray(new String[0]);
        for (int i = 0; i < 2; i++) {
            assertTrue(trainData.get(i).call(first, null).startsWith(MODEL_HEADER + "10,L,t0,72,-50,-70,1;"));
            assertTrue(clusterData.get(i).call(rows, LOOSE).startsWith(MODEL_HEADER + "4,L,t0,72,-50,-70,1;"));
            // Only the model service logs the end of the cluster pipeline.
            assertEquals(i, LogCapture.count(4, "WmpCore:", "wmpCoreClusterData end"), LogCapture.dump());
            String core = coreData.get(i).call(rows, LOOSE);
            assertTrue(core.startsWith("orginBatch,batch,label,timestamp,link_speed,b1,b2,;4,1,L,t0"), core);
            assertEquals("", coreData.get(i).call(rows, new String[0]));
        }
    }

    @Test
    void nullArraysAndElementsReadAsEmpty() {
        List<String> rows = placeRows(4, 8, 15);
        String expected = clusterData.get(0).call(rows.toArray(new String[0]), LOOSE);
        rows.add(7, null);
        String[] params = {null, LOOSE[0], null, LOOSE[1]};
        for (Native n : clusterData) {
            assertEquals(expected, n.call(rows.toArray(new String[0]), params));
        }
        trainData.get(0).call(new String[] {null, "batch,b1", "1,-50"}, null);  // a null row is a row
        assertEquals(1, LogCapture.count(4, "WmpCore:", "trainData begin,rawFingers.size = 3"), LogCapture::dump);
        for (Native n : trainData) {
            assertEquals("batch,label,timestamp,link_speed,prelabel;", n.call(null, null));
            assertEquals("batch,label,timestamp,link_speed,prelabel;", n.call(new String[] {null, null}, null));
        }
        for (Native n : coreData) {
            assertEquals("", n.call(null, LOOSE));
        }
    }

    @Test
    void largeArraysAreReadWithoutExhaustingLocalReferences() {
        String[] rows = new String[100_001];
        rows[0] = "batch,b1";
        Arrays.fill(rows, 1, rows.length, "1,-50");
        String text = adapter.nativeWmpCoreTrainData(rows, new String[] {"minFreq=1"});
        assertEquals(100_001, text.split(";").length);
        assertTrue(text.endsWith(";0,,,,-50,1;"));
    }

    private String run(String... command) throws IOException, InterruptedException {
        Process p = new ProcessBuilder(command).redirectErrorStream(true).start();
        String out = new String(p.getInputStream().readAllBytes());
        assertEquals(0, p.waitFor(), out);
        return out;
    }

    @Test
    void ujiIndoorLocThroughBothClasses() throws Exception {
        File csv = new File(System.getProperty("mqqoe.shared", ""), "data/ujiindoorloc/ValidationData.csv");
        assumeTrue(csv.isFile(), "UJIIndoorLoc validation set not present");
        String gen = System.getProperty("mqqoe.bindir") + "/tools/fingerprints/fingerprint_gen";
        Path rowsFile = dir.resolve("rows.txt");
        Path truth = dir.resolve("truth.txt");
        run(gen, "uji", csv.getPath(), "--out", rowsFile.toString(), "--truth", truth.toString());
        String[] rows = Files.readAllLines(rowsFile).toArray(new String[0]);
        assertEquals(1112, rows.length);
        for (List<Native> pipeline : List.of(trainData, clusterData, coreData)) {
            assertEquals(pipeline.get(0).call(rows, null), pipeline.get(1).call(rows, null));
        }
        assertTrue(coreData.get(0).call(rows, null).startsWith("orginBatch,batch,label,timestamp,link_speed,WAP"));
        Path modelFile = Files.writeString(dir.resolve("model.txt"), trainData.get(1).call(rows, null));
        String report = run(gen, "score", "--truth", truth.toString(), "--model", modelFile.toString());
        String purity = report.replaceAll("(?s).*purity ([0-9.]+).*", "$1").trim();
        assertTrue(Double.parseDouble(purity) >= 0.95, report);
    }
}
