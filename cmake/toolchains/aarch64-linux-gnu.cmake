# 64-bit Arm Linux with Debian's cross toolchain (crossbuild-essential-arm64).
# The :arm64 packages (liblog, libutils, GoogleTest) sit in the multiarch
# folders that the cross compiler and CMake search for this architecture.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Nothing of the host may end up in an Arm program: pkg-config (which
# FindOpenSSL asks first) reads the target's .pc files only, and the find
# commands skip the host's multiarch folders.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig:/usr/share/pkgconfig)
set(CMAKE_IGNORE_PATH /usr/lib/${CMAKE_HOST_SYSTEM_PROCESSOR}-linux-gnu /lib/${CMAKE_HOST_SYSTEM_PROCESSOR}-linux-gnu)

# Programs run under qemu's user-mode emulation with the dynamic loader of
# libc6:arm64, never the cross toolchain's (/usr/aarch64-linux-gnu). qemu's
# -L only prefixes paths and falls back to the host's files, so a loader from
# the cross sysroot still reads the host's ld.so.cache and is handed
# libc6:arm64's libc.so.6: two glibc builds whose private loader globals differ
# in layout, and the first pthread_create then loops for ever in the thread
# stack cache. "-L /" also overrides a QEMU_LD_PREFIX left in the environment.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /)
