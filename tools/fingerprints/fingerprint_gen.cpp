// Writes synthetic or converted fingerprint sets to files and scores a
// clustering model against their ground truth; the Java simulator drives it.
//
//   fingerprint_gen synth --out ROWS --truth TRUTH [--rows N --bssids M --batches K --seed S]
//   fingerprint_gen uji CSV --out ROWS --truth TRUTH [--scans SCANS]
//   fingerprint_gen score --truth TRUTH --model MODEL [--scans N]
//
// Exit code 2 for a bad command line or a malformed CSV (one line on stderr,
// "fingerprint_gen: CSV:LINE:COLUMN: what"), 1 for any other failure.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <variant>

#include "ClusterQuality.h"
#include "SyntheticBuilding.h"
#include "UjiIndoorLoc.h"

namespace {

using Options = std::map<std::string, std::string>;

constexpr int kFailed = 1;
constexpr int kBadInput = 2;

Options parseOptions(int argc, char** argv, int first, std::string& positional) {
    Options options;
    for (int i = first; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.rfind("--", 0) == 0 && i + 1 < argc) {
            options[arg.substr(2)] = argv[++i];
        } else {
            positional = arg;
        }
    }
    return options;
}

int intOption(const Options& options, const char* name, int fallback) {
    const auto it = options.find(name);
    return it == options.end() ? fallback : std::atoi(it->second.c_str());
}

constexpr const char* kHelp =
    "usage: fingerprint_gen synth --out ROWS --truth TRUTH [--rows N --bssids M --batches K --seed S]\n"
    "       fingerprint_gen uji CSV --out ROWS --truth TRUTH [--scans SCANS]\n"
    "       fingerprint_gen score --truth TRUTH --model MODEL [--scans N]\n"
    "\n"
    "synth  a synthetic building (path-loss model): N scans, M BSSIDs, K batches\n"
    "uji    converts a UJIIndoorLoc export (WAP levels in dBm, 100 = not heard)\n"
    "score  purity and adjusted Rand index of a model text against a truth\n"
    "\n"
    "ROWS   the library's rows: orginBatch,batch,label,timestamp,link_speed,<bssid>...\n"
    "TRUTH  lines 'batch place', the true place of each orginBatch\n"
    "SCANS  lines 'batch x y place' (UJIIndoorLoc metres, place as b<building>f<floor>)\n"
    "\n"
    "Exit codes: 0 done, 2 bad command line or malformed CSV (one line naming\n"
    "file, line and column), 1 any other failure.\n";

int usage() {
    std::fputs("usage: fingerprint_gen synth|uji|score ... (fingerprint_gen --help)\n", stderr);
    return kBadInput;
}

int writeSet(const fingerprints::FingerprintSet& set, const Options& options) {
    if (!options.count("out") || !options.count("truth")) return usage();
    if (!writeRows(set, options.at("out")) || !writeTruth(set, options.at("truth"))) {
        std::fputs("fingerprint_gen: cannot write the output files\n", stderr);
        return kFailed;
    }
    std::printf("%zu scans in %zu batches\n", set.scanCount(), set.placeOfBatch.size());
    return 0;
}

// Nothing is written unless the whole file converts.
int convertUji(const std::string& path, const Options& options) {
    if (!options.count("out") || !options.count("truth")) return usage();
    const auto cannotRead = [&path] {
        std::fprintf(stderr, "fingerprint_gen: cannot read %s\n", path.c_str());
        return kFailed;
    };
    std::ifstream csv(path);
    if (!csv) return cannotRead();
    const auto converted = fingerprints::convertUjiIndoorLoc(csv);
    if (csv.bad()) return cannotRead();
    if (const auto* problem = std::get_if<fingerprints::CsvProblem>(&converted)) {
        std::fprintf(stderr, "fingerprint_gen: %s:%zu:%zu: %s\n", path.c_str(), problem->line, problem->column,
                     problem->what.c_str());
        return kBadInput;
    }
    const auto& uji = std::get<fingerprints::UjiSet>(converted);
    if (options.count("scans") && !fingerprints::writeScans(uji.scans, options.at("scans"))) {
        std::fputs("fingerprint_gen: cannot write the scans file\n", stderr);
        return kFailed;
    }
    return writeSet(uji.fingerprints, options);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return usage();
    const std::string command = argv[1];
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]) == "--help" || std::string(argv[i]) == "-h") {
            std::fputs(kHelp, stdout);
            return 0;
        }
    }
    std::string positional;
    const Options options = parseOptions(argc, argv, 2, positional);
    if (command == "synth") {
        fingerprints::BuildingSpec spec;
        if (options.count("rows") || options.count("bssids") || options.count("batches")) {
            spec = fingerprints::specForSize(intOption(options, "rows", 1000), intOption(options, "bssids", 100),
                                             intOption(options, "batches", 50));
        }
        spec.seed = static_cast<uint32_t>(intOption(options, "seed", static_cast<int>(spec.seed)));
        return writeSet(fingerprints::generateBuilding(spec), options);
    }
    if (command == "uji") return convertUji(positional, options);
    if (command == "score") {
        std::map<int32_t, int32_t> placeOfBatch;
        if (!options.count("truth") || !options.count("model")) return usage();
        if (!fingerprints::readTruth(options.at("truth"), placeOfBatch)) {
            std::fputs("fingerprint_gen: cannot read the truth file\n", stderr);
            return kFailed;
        }
        std::ifstream in(options.at("model"));
        std::stringstream model;
        model << in.rdbuf();
        const auto report = fingerprints::scoreModel(model.str(), placeOfBatch,
                                                     static_cast<size_t>(intOption(options, "scans", 0)));
        std::fputs(fingerprints::formatReport(report).c_str(), stdout);
        return 0;
    }
    return usage();
}
