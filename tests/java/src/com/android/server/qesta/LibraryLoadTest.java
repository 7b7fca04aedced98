package com.android.server.qesta;

import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static java.nio.charset.StandardCharsets.UTF_8;

import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.Test;

class LibraryLoadTest {
    @Test
    void classMissingOneNativeFailsToLoadWithFatalLogs() throws Exception {
        Result child = run(System.getProperty("mqqoe.brokencp"), "capture");
        assertTrue(child.out().contains("LOAD_FAILED"), child.out());
        assertTrue(child.out().contains("7/JNIHelp: RegisterNatives failed for "
                + "'com/android/server/qesta/ZvQestaJniAdapter'; aborting..."), child.out());
        assertTrue(child.out().contains("7/JNIHelp: java.lang.NoSuchMethodError: "), child.out());
        assertTrue(child.out().contains("6/ZvQoEJNI: jni registration failure, status: -1"), child.out());
    }

    @Test
    void missingAdapterClassAbortsTheProcess() throws Exception {
        Result child = run(System.getProperty("mqqoe.testcp").split(":")[0], "raw");
        assertNotEquals(0, child.exitCode());
        assertFalse(child.out().contains("LOADED"), child.out());
        assertTrue(child.err().contains("Native registration unable to find class "
                + "'com/android/server/qesta/ZvQestaJniAdapter'; aborting..."), child.err());
    }

    private record Result(int exitCode, String out, String err) {}

    private static Result run(String classPath, String mode) throws Exception {
        ProcessBuilder builder = new ProcessBuilder(System.getProperty("mqqoe.java"), "-Xcheck:jni",
                "-Djava.library.path=" + System.getProperty("mqqoe.libpath"), "-Xshare:off", "-cp", classPath,
                "com.android.server.qesta.testing.LoadProbe", mode);
        builder.environment().remove("LD_PRELOAD");
        Process process = builder.start();
        assertTrue(process.waitFor(60, TimeUnit.SECONDS), "probe did not finish");
        Result result = new Result(process.exitValue(), new String(process.getInputStream().readAllBytes(), UTF_8),
                new String(process.getErrorStream().readAllBytes(), UTF_8));
        assertFalse((result.out() + result.err()).contains("in native method"), result.out() + result.err());
        return result;
    }
}
