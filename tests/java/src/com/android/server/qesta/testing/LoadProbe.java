package com.android.server.qesta.testing;

/**
 * Child-process probe for loading the library under unusual class paths.
 * "capture": load through the adapter class with liblog captured and print
 * the outcome and every log line; "raw": load the library directly.
 */
public final class LoadProbe {
    private LoadProbe() {}

    public static void main(String[] args) throws Exception {
        if (args.length > 0 && args[0].equals("raw")) {
            System.loadLibrary("mqqoe_jni");
            System.out.println("LOADED");
            return;
        }
        LogCapture.install();
        try {
            Class.forName("com.android.server.qesta.ZvQestaJniAdapter");
            System.out.println("LOADED");
        } catch (UnsatisfiedLinkError e) {
            System.out.println("LOAD_FAILED");
        }
        for (String line : LogCapture.lines()) {
            System.out.println(line);
        }
    }
}
