# A Linux cross build (the arm64 preset): what differs from a native one.
#
# jni.h and jni_md.h do not depend on the architecture, so the host's JDK 17
# provides them; there is no JVM for the target and nothing here links one.
string(REPLACE "x86_64" "amd64" MQQOE_HOST_ARCH "${CMAKE_HOST_SYSTEM_PROCESSOR}")
string(REPLACE "aarch64" "arm64" MQQOE_HOST_ARCH "${MQQOE_HOST_ARCH}")
set(MQQOE_HOST_JDK "/usr/lib/jvm/java-17-openjdk-${MQQOE_HOST_ARCH}" CACHE PATH "The host JDK whose JNI headers a cross build uses")
find_path(MQQOE_JNI_INCLUDE jni.h PATHS ${MQQOE_HOST_JDK}/include REQUIRED NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
find_path(MQQOE_JNI_MD_INCLUDE jni_md.h PATHS ${MQQOE_HOST_JDK}/include/linux REQUIRED NO_DEFAULT_PATH
  NO_CMAKE_FIND_ROOT_PATH)
set(JNI_INCLUDE_DIRS ${MQQOE_JNI_INCLUDE} ${MQQOE_JNI_MD_INCLUDE})

# Target libraries that cannot be installed beside the host's copies (the Arm
# 7z.so that libutils' libbacktrace needs) are unpacked by tools/setup-deps.sh
# into a private folder: the linker resolves through it and the emulated
# programs load from it.
set(MQQOE_TARGET_PRIVATE_LIBDIR "" CACHE PATH "Private folder of target libraries the package manager cannot install")
if(MQQOE_TARGET_PRIVATE_LIBDIR)
  if(NOT EXISTS ${MQQOE_TARGET_PRIVATE_LIBDIR}/7z.so)
    message(FATAL_ERROR "${MQQOE_TARGET_PRIVATE_LIBDIR}/7z.so is missing: run tools/setup-deps.sh")
  endif()
  add_link_options(-Wl,-rpath-link,${MQQOE_TARGET_PRIVATE_LIBDIR})
  list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -E LD_LIBRARY_PATH=${MQQOE_TARGET_PRIVATE_LIBDIR})
endif()
