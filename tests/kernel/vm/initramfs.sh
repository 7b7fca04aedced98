# shellcheck shell=bash
# Sourced by run-vm.sh: the VM's initramfs, busybox and the modules that
# reach the host root, built once per content.

# initramfs_build OUT BUSYBOX INIT MODULE.ko... : prints the cpio archive's path.
initramfs_build() {
  local out=$1 busybox=$2 init=$3
  shift 3
  local key archive
  key=$(cat "$busybox" "$init" "$@" | sha256sum | cut -c1-16)
  archive=$out/initramfs-$key.cpio
  if [[ ! -f $archive ]]; then
    local tree
    tree=$(mktemp -d "$out/initramfs.XXXXXX")
    mkdir -p "$tree"/{bin,dev,proc,sys,modules}
    cp "$busybox" "$tree/bin/busybox"
    cp "$init" "$tree/init"
    cp "$@" "$tree/modules/"
    local module
    for module in "$@"; do basename "$module"; done >"$tree/modules/order"
    # Built aside and renamed: a concurrent run never reads half an archive.
    (cd "$tree" && find . -print0 | cpio --null -o -H newc --quiet) >"$tree.cpio"
    mv "$tree.cpio" "$archive"
    rm -rf "$tree"
  fi
  touch "$archive" # in use: run-vm.sh prunes the archives unused for a day
  echo "$archive"
}
