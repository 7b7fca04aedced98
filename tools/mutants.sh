#!/usr/bin/env bash
# Mutation sample of the library. Each mutant of tools/mutants.txt (a file, a
# snippet found there exactly once, its replacement) is applied in turn to a
# scratch copy of the tree, which is rebuilt incrementally in its own build
# folder with the host preset; then the host tests run, gtest and JVM (or the
# subset the mutant names). A mutant is killed when a test fails or times out,
# survives when all pass, and is stale when its snippet is not found exactly
# once. The working tree is only read.
#
#   tools/mutants.sh [ID...]   run these mutants (default: all), then the table
#   tools/mutants.sh --check   only list the stale mutants
set -euo pipefail
# --help: the comment at the head of this file.
if [[ " $* " == *" --help "* || " $* " == *" -h "* ]]; then sed -n '2,/^set -/{/^#/s/^# \{0,1\}//p}' "$0"; exit 0; fi
root=$(cd "$(dirname "$0")/.." && pwd)
list=${MQQOE_MUTANTS:-$root/tools/mutants.txt}  # another list, e.g. a subset with narrower tests
work=$root/build/mutants
src=$work/src    # the scratch copy
bin=$work/build  # its build
jobs=${MQQOE_JOBS:-2}
test_timeout=${MQQOE_MUTANT_TIMEOUT:-120}  # seconds per test without a TIMEOUT of its own

# The list's reader and the file edits; see the head of tools/mutants.txt.
read -r -d '' helper <<'EOF' || true
import os, re, subprocess, sys

def mutants(path):
    found = []
    for number, raw in enumerate(open(path), 1):
        line = raw.rstrip("\n")
        if not line.strip() or line.startswith("#"):
            continue
        if line[0] in "-+" or line[0].isspace():
            if not found:
                sys.exit(f"{path}:{number}: a mutant starts with its id and file")
            key = {"-": "was", "+": "now"}.get(line[0], "why")
            found[-1][key].append(line[2:] if key != "why" else line.strip())
        else:
            ident, file, *tests = line.split()
            found.append(dict(id=ident, file=file, tests=tests, why=[], was=[], now=[]))
    for m in found:
        if not m["was"] or len(m["was"]) != len(m["now"]):
            sys.exit(f"{path}: mutant {m['id']} needs as many '+' lines as '-' lines")
    return found

# Lines after the first may be indented differently from the list.
def edit(m, tree, write):
    path = os.path.join(tree, m["file"])
    if not os.path.isfile(path):
        return "no such file"
    text = open(path).read()
    hits = list(re.finditer(r"(\n[ \t]*)".join(map(re.escape, m["was"])), text))
    if len(hits) != 1:
        return f"snippet found {len(hits)} times"
    if write:
        hit = hits[0]
        new = m["now"][0] + "".join(i + n for i, n in zip(hit.groups(), m["now"][1:]))
        open(path, "w").write(text[:hit.start()] + new + text[hit.end():])
    return ""

# Copies the tree's files (tracked and untracked, not ignored) where they
# differ; a copy gets a new time stamp, so that the build notices it.
def sync(tree, copy):
    listed = subprocess.run(["git", "-C", tree, "ls-files", "-z", "-co", "--exclude-standard"],
                            check=True, capture_output=True).stdout.decode().split("\0")
    keep = set()
    for name in filter(None, listed):
        source, target = os.path.join(tree, name), os.path.join(copy, name)
        if not os.path.isfile(source):
            continue
        keep.add(target)
        data = open(source, "rb").read()
        if not os.path.isfile(target) or open(target, "rb").read() != data:
            os.makedirs(os.path.dirname(target), exist_ok=True)
            open(target, "wb").write(data)
            os.chmod(target, os.stat(source).st_mode)
    for folder, _, files in os.walk(copy):
        for name in files:
            if os.path.join(folder, name) not in keep:
                os.remove(os.path.join(folder, name))

command, args = sys.argv[1], sys.argv[2:]
if command == "sync":
    sync(*args)
    sys.exit()
chosen = mutants(args[0])
if command == "list":
    wanted = args[1:] or [m["id"] for m in chosen]
    by_id = {m["id"]: m for m in chosen}
    for ident in wanted:
        if ident not in by_id:
            sys.exit(f"no mutant {ident} in {args[0]}")
        m = by_id[ident]
        print("\x1f".join([ident, m["file"], " ".join(m["tests"]), " ".join(m["why"])]))
elif command == "check":
    stale = [f"{m['id']}: {m['file']}: {why}" for m in chosen if (why := edit(m, args[1], False))]
    print("\n".join(stale) or f"all {len(chosen)} mutants apply")
    sys.exit(1 if stale else 0)
elif command == "apply":
    why = edit(next(m for m in chosen if m["id"] == args[1]), args[2], True)
    if why:
        print(why)
        sys.exit(3)
EOF
helper() { python3 -c "$helper" "$@"; }

if [[ ${1:-} == --check ]]; then
  exec python3 -c "$helper" check "$list" "$root"
fi
mutant_list=$(helper list "$list" "$@")

mkdir -p "$work/logs"
exec 9>"$work/lock"
flock -n 9 || { echo "another tools/mutants.sh is using $work" >&2; exit 1; }

current=""  # the scratch file now mutated
restore() {
  if [[ -n $current ]]; then
    cp "$work/original" "$src/$current"
    current=""
  fi
}
trap restore EXIT
trap 'exit 130' INT TERM

build() { cmake --build "$bin" -j "$jobs"; }
run_tests() { ctest --test-dir "$bin" --timeout "$test_timeout" --stop-on-failure --output-on-failure "$@"; }

"$root/tools/setup-deps.sh" host
echo "=== scratch copy and its build: $work"
helper sync "$root" "$src"
cmake --preset host -S "$src" -B "$bin" -DMQQOE_BUILD_BENCH=OFF -DMQQOE_WERROR=OFF \
  -DMQQOE_SHARED_DIR="${MQQOE_SHARED_DIR:-$root/../shared}" >"$work/logs/configure.log"
if ! { build && run_tests; } >"$work/logs/baseline.log" 2>&1; then
  echo "the unmutated tree does not build or pass its tests: $work/logs/baseline.log" >&2
  exit 1
fi

results=()
# Fields are split at \x1f: an empty one would vanish between tabs.
while IFS=$'\x1f' read -r -u 3 id file tests why; do
  log=$work/logs/$id.log
  start=$SECONDS
  read -r -a selection <<<"$tests"
  cp "$src/$file" "$work/original" 2>/dev/null && current=$file
  if ! reason=$(helper apply "$list" "$id" "$src"); then
    result="stale: $reason"
  elif ! build >"$log" 2>&1; then
    result="did-not-compile"
  elif run_tests "${selection[@]}" >>"$log" 2>&1; then
    result="survived"
  else
    # The first failing test, as CTest lists them at the end.
    result="killed by $(sed -n '/tests FAILED:/{n;s/^[[:space:]]*[0-9]* - //;s/ .*//;p;q}' "$log")"
  fi
  restore
  results+=("$id"$'\t'"$file"$'\t'"$result"$'\t'"$((SECONDS - start))s"$'\t'"$why")
  printf '%-34s %s (%ss)\n' "$id" "$result" "$((SECONDS - start))"
done 3<<<"$mutant_list"

printf '%s\n' "${results[@]}" >"$work/results.tsv"
echo
printf '%s\n' "${results[@]}" | awk -F'\t' '
  { printf "%-34s %-32s %-44s %6s\n", $1, $2, $3, $4 }
  $3 ~ /^killed/ { killed++ }
  $3 == "survived" { survived++ }
  $3 == "did-not-compile" { broken++ }
  $3 ~ /^stale/ { stale++ }
  END {
    printf "\nkilled %d, survived %d, did not compile %d, stale %d\n", killed, survived, broken, stale
    if (killed + survived) printf "kill rate %d/%d = %.1f%%\n", killed, killed + survived, 100 * killed / (killed + survived)
  }'
