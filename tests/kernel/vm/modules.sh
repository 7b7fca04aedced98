# shellcheck shell=bash
# Sourced by run-vm.sh: the reference modules' out-of-tree build and the load
# order of every module the VM needs.

# kernel_modules_build SRC OUT KDIR MAKE_ARGS...
# Copies SRC (kernel/) to OUT/src and builds there the modules whose sources
# are all present; a second run of the same sources returns at once. Prints
# the built .ko files in the order of the Kbuild file.
kernel_modules_build() {
  local src=$1 out=$2 kdir=$3
  shift 3
  local copy=$out/src stamp
  stamp=$( (echo "$kdir $*" && cd "$src" && find . -type f -print0 | LC_ALL=C sort -z | xargs -0 sha256sum) | sha256sum)
  if [[ ! -f $out/stamp || $(<"$out/stamp") != "$stamp" ]]; then
    mkdir -p "$copy"
    # Times kept, so Kbuild rebuilds only what changed; sources gone from
    # the tree go from the copy too.
    cp -a --no-preserve=ownership "$src/." "$copy/"
    (cd "$copy" && find . -type f \( -name '*.[ch]' -o -name Kbuild -o -name Makefile \) -print) |
      while read -r file; do [[ -e $src/$file ]] || rm -f "$copy/$file"; done
    local present
    present=$(kernel_modules_present "$copy/Kbuild")
    rm -f "$copy"/*.ko
    if [[ -n $present ]]; then
      # Only the modules whose sources are all there: the others are being written.
      sed -i "s|^obj-m[[:space:]]*+=.*|obj-m += $(sed 's/\([^ ]*\)/\1.o/g' <<<"$present")|" "$copy/Kbuild"
      if ! make -s -C "$kdir" M="$copy" "$@" -j2 modules >"$out/build.log" 2>&1; then
        cat "$out/build.log" >&2
        return 1
      fi
    fi
    echo "$stamp" >"$out/stamp"
  fi
  local module
  for module in $(kernel_modules_present "$copy/Kbuild"); do
    [[ -f $copy/$module.ko ]] && echo "$copy/$module.ko"
  done
  return 0
}

# Modules of a Kbuild file ("name-y := objects") whose .c files all exist.
kernel_modules_present() {
  local kbuild=$1 dir name objects object present=()
  dir=$(dirname "$kbuild")
  while read -r name objects; do
    for object in $objects; do
      [[ -f $dir/${object%.o}.c ]] || continue 2
    done
    present+=("$name")
  done < <(sed -n 's/^\([a-z0-9_]*\)-y[[:space:]]*:=\(.*\)$/\1 \2/p' "$kbuild")
  echo "${present[*]}"
}

# kernel_modules_order MODDIR NAME... : the .ko paths under MODDIR that load
# NAME... (dependencies first, each once). Built-in modules print nothing; an
# unknown name fails.
kernel_modules_order() {
  local moddir=$1
  shift
  awk -v moddir="$moddir" -v builtin="$moddir/modules.builtin" '
    function key(path,  k) { k = path; sub(/.*\//, "", k); sub(/\.ko.*$/, "", k); gsub(/-/, "_", k); return k }
    function emit(name,  n, i, parts) {
      if (name in done) return
      done[name] = 1
      n = split(deps[name], parts, " ")
      for (i = n; i >= 1; i--) emit(key(parts[i]))
      print moddir "/" path[name]
    }
    FILENAME == builtin { done[key($0)] = 1; next }
    FILENAME != "-" && /:/ { k = key($1); sub(/:$/, "", $1); path[k] = $1; $1 = ""; deps[k] = $0; next }
    FILENAME == "-" {
      name = $0; gsub(/-/, "_", name)
      if (name in done) next
      if (!(name in path)) { print "unknown module " name > "/dev/stderr"; failed = 1; next }
      emit(name)
    }
    END { exit failed }
  ' "$moddir/modules.builtin" "$moddir/modules.dep" - < <(printf '%s\n' "$@")
}
