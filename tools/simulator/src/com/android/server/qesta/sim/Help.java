package com.android.server.qesta.sim;

/** The --help texts: options, file formats with units, scene codes and parameter keys. */
final class Help {
    static final String SCENES = "100105 voice call, 100106 video call, 100501 100701 100901 short video";

    static final String EXIT = """

            Exit codes: 0 done; 2 bad input (one line on standard error naming file,
            line and column where there is one); 1 internal failure of the simulator
            or the library.
            """;

    static final String GENERAL = """
            usage: tools/run-main.sh [stall|cluster] [options]
                   tools/run-main.sh <command> --help

            Drives libmqqoe_jni.so from a real JVM the way the QoE service does, with
            the kernel emulator playing the kernel modules, and writes an HTML report
            (index.html, its charts and CSV files) whose path is the last line printed.

            Commands:
              (none)     the demo: QoE channels, a stall session, a clustering run
              stall      replay a traffic trace through a stall session
              cluster    run the clustering pipelines on scans

            Options of every command:
              --report DIR   the report's folder (default: report/ in the build
                             folder, build/host/report with tools/run-main.sh); a
                             new folder or an earlier report, replaced once the new
                             one is complete; checked before the run starts
              --verbose      print the library's log and standard-output lines as
                             they are written (otherwise they go into the report)
              --help, -h     this text

            Names from the service:
              scene code   which app is watched, and so which detector and
                           reporting rule run:
            """ + "               " + SCENES + "\n" + """
              log tags     "Korun" the stall engine, "ZvQoEJNI" the JNI layer,
                           "WmpCore:" the clustering core, "JNIHelp" the
                           registration of natives
            """;

    static final String STALL = """
            usage: tools/run-main.sh stall --scene CODE --trace FILE [--interval MS]
                                           [--frames FILE] [--kernel emulator|vm]
                                           [--report DIR] [--verbose]

            Replays a trace through a real stall session: the emulated stall module
            delivers one report per interval, the frame-detection service delivers
            the results of --frames, and each callback handleReportStallInfo(value,
            scene, kind, flag) is printed as it arrives (the first 40, then all in
            the report).

              --scene CODE
            """ + "                  " + SCENES + "\n" + """
              --trace FILE    CSV with a header line, comma-separated, UTF-8
              --interval MS   how often a call trace was sampled (default: as often as
                              the library asks: 1000 ms voice, 2000 ms video); it must
                              divide the library's interval, and consecutive rows are
                              summed into one report; rows left over at the end are
                              not replayed (a warning says so)
              --frames FILE   frame-detection results (read by scene 100106 only)
              --kernel K      emulator (default): the kernel emulator plays the
                              module, fast and without a VM. vm: tools/run-main.sh
                              boots Debian's kernel under qemu with the reference
                              modules; a call trace's rows become real UDP
                              datagrams of the app uid over wlan0 (IP bytes:
                              payload + 28 a datagram), a short-video trace's
                              videos real MP4s over HTTP paced to its loaded bytes
                              (total above 0, keys of letters, digits, . _ -); the
                              report puts the module's figures beside the trace's.
                              A missing VM prerequisite (qemu, the kernel image,
                              busybox) stops it with one line and exit status 2

            Trace of the call scenes (100105, 100106), one row per interval:
              in_pkts,out_pkts,in_bytes,out_bytes
              packets and bytes received and sent in the interval; whole numbers
              from 0 to 4294967295 (the module's 32-bit counters)

            Trace of the short-video scenes, one row per 1000 ms report, the fields
            of the stall-info entry under detection:
              detect_index  entry under detection, 0-9
              cur_index     entry the module writes next, 0-4294967295
              valid_num     entries in use, 0-4294967295
              detect_state  0 not detecting, 1 new request, other: detecting
              video         the video's key, up to 39 characters
              loaded_base   bytes loaded before this range, 64-bit
              total         the video's size in bytes (0: unknown), 64-bit
              range_start   first byte of the range being loaded
              in_bytes      bytes of the range loaded so far
              timescale     time units per second of dur (0: unknown)
              dur           the video's duration in timescale units (0: unknown)

            Frames: t_ms,result
              t_ms    milliseconds from the start of the trace, in time order; a
                      result is delivered before the report of the interval it falls
                      in; results at or after the trace's end are not delivered
              result  the frame-detection service's result (0 none, 2 heavy; the
                      session passes other values on at once and holds 2 back for
                      6 reports)

            Callback arguments: value 1 for a no-traffic stall, the detector's result
            for a detector stall, the frame result for kind 1; scene the scene code;
            kind 0 stall, 1 frame result passed on; flag the short-video detector's
            first-report flag.
            """;

    static final String CLUSTER = """
            usage: tools/run-main.sh cluster (--uji FILE | --rows FILE [--truth FILE])
                                             [--param KEY=VALUE]... [--report DIR] [--verbose]

            Runs the three clustering pipelines through TrainModelService and
            ZvQestaJniAdapter (which must agree) and prints the selected BSSIDs, the
            clusters and, with a ground truth, purity and adjusted Rand index.

              --uji FILE      a UJIIndoorLoc export (WAP001..WAPnnn levels in dBm, 100 =
                              not heard, LONGITUDE, LATITUDE in metres, FLOOR,
                              BUILDINGID, ..., PHONEID, TIMESTAMP in seconds); one batch
                              per run of scans of a phone on one floor of one building;
                              the truth is building and floor
              --rows FILE     the library's rows: a header
                              orginBatch,batch,label,timestamp,link_speed,<bssid>...
                              then one row per scan: orginBatch and batch whole numbers
                              (the batch of the model text is orginBatch), label,
                              timestamp (s), link_speed (Mbit/s), then one signal level
                              per BSSID in dBm (0 = not heard)
              --truth FILE    lines "batch place": the true place of each orginBatch
              --param K=V     a parameter of the pipelines (repeatable)

            Parameter keys the pipelines read (whole numbers unless marked):
            """;

    private Help() {}
}
