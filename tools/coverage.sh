#!/usr/bin/env bash
# Line and branch coverage of the library's own code (netlink/ stall/ bridge/
# jni/ wmpcore/) under the host suites, gtest and JVM: builds the coverage
# preset, runs its tests from a clean slate of counters and prints a summary
# per folder and per file. The uncovered lines and annotated sources are left
# in build/coverage/report/ (lines.txt, index.html).
set -euo pipefail
# --help: the comment at the head of this file.
if [[ " $* " == *" --help "* || " $* " == *" -h "* ]]; then sed -n '2,/^set -/{/^#/s/^# \{0,1\}//p}' "$0"; exit 0; fi
cd "$(dirname "$0")/.."

folders=(netlink stall bridge jni wmpcore)
build=build/coverage
report=$build/report
jobs=${MQQOE_JOBS:-2}

tools/setup-deps.sh coverage

cmake --preset coverage >/dev/null
cmake --build --preset coverage -j "$jobs"
# Counters of an earlier run would add up with this one's.
find "$build" -name '*.gcda' -delete
status=0
ctest --preset coverage || status=$?

rm -rf "$report"
mkdir -p "$report"
filters=()
for folder in "${folders[@]}"; do filters+=(--filter "$folder/"); done
# Branches the compiler adds for exception unwinding are not the code's own
# decisions; CMake's compiler probes are not ours either.
gcovr --root . "${filters[@]}" --exclude-directories "$build/CMakeFiles/[0-9]" \
  --exclude-throw-branches --exclude-unreachable-branches -j "$jobs" \
  --txt "$report/lines.txt" --html-details "$report/index.html" --json-summary "$report/summary.json" \
  "$build" 2>"$report/gcovr.log"

python3 - "$report/summary.json" "${folders[@]}" <<'EOF'
import json, sys

summary, folders = json.load(open(sys.argv[1])), sys.argv[2:]

def cell(covered, total):
    return f"{100 * covered / total:5.1f}% {covered:>5}/{total:<5}" if total else f"{'-':>6} {0:>5}/{0:<5}"

def row(name, entries, indent=""):
    sums = [sum(e[k] for e in entries) for k in ("line_covered", "line_total", "branch_covered", "branch_total")]
    print(f"{indent + name:<42} {cell(sums[0], sums[1])}   {cell(sums[2], sums[3])}")

files = summary["files"]
print(f"{'':<42} {'lines':<18}   branches")
row("all five folders", files)
for folder in folders:
    inside = [f for f in files if f["filename"].startswith(folder + "/")]
    row(folder + "/", inside)
    for f in inside:
        row(f["filename"], [f], "  ")
EOF
echo "Uncovered lines: $report/lines.txt; annotated sources: $report/index.html"
exit $status
