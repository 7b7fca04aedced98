package com.android.server.qesta.sim;

import com.android.server.qesta.testing.LogCapture;

import java.io.PrintStream;
import java.lang.reflect.Method;

/**
 * Drives libmqqoe_jni.so from a real JVM the way the QoE service does, with
 * the kernel emulator playing the kernel modules. Each scene prints what the
 * library returned and what the kernel side received.
 */
public final class HostSimulator {
    private static final String[] SCENES = {
        "com.android.server.qesta.sim.QoeChannelsScene",
        "com.android.server.qesta.sim.StallScene",
        "com.android.server.qesta.sim.WavemappingScene",
    };

    private HostSimulator() {}

    public static void main(String[] args) throws Exception {
        PrintStream out = System.out;
        boolean verbose = args.length > 0 && args[0].equals("--verbose");
        if (!verbose) {
            LogCapture.install();  // keep the library's log out of the scenes' output
        }
        int ran = 0;
        for (String name : SCENES) {
            Class<?> scene;
            try {
                scene = Class.forName(name);
            } catch (ClassNotFoundException e) {
                continue;  // scene not part of this build
            }
            Method run = scene.getMethod("run", PrintStream.class);
            out.println();
            out.println("==== " + scene.getSimpleName() + " ====");
            run.invoke(null, out);
            ran++;
        }
        out.println();
        out.println("simulator: " + ran + " scenes run");
        if (!verbose) {
            out.println("liblog: " + LogCapture.lines().length
                    + " lines captured (run with --verbose to see them as they are written)");
        }
    }
}
