# NDK route: cross-compiles libmqqoe_jni.so for a device (arm64-v8a) with the
# NDK's CMake toolchain file. liblog and the JNI headers come from the NDK;
# libutils and the vendor libraries are taken from the device's system image
# (MQQOE_DEVICE_LIBDIR) with the headers of a platform checkout
# (MQQOE_PLATFORM_INCLUDES, e.g. system/core/libutils/include and
# system/core/libcutils/include). Tests, stand-ins and Java are host-only.
set(MQQOE_DEVICE_LIBDIR "" CACHE PATH "Folder with the device's libutils.so, libnetd_client.so, libveltromanager.so, libsecurec.so")
set(MQQOE_PLATFORM_INCLUDES "" CACHE STRING "Include folders of the platform headers (libutils, libcutils)")
if(NOT MQQOE_DEVICE_LIBDIR)
  message(FATAL_ERROR "Set MQQOE_DEVICE_LIBDIR to the libraries pulled from the device")
endif()

find_library(NDK_LOG_LIB log REQUIRED)
add_library(android::log SHARED IMPORTED GLOBAL)
set_target_properties(android::log PROPERTIES IMPORTED_LOCATION ${NDK_LOG_LIB})

function(mqqoe_device_lib target file includes)
  add_library(${target} SHARED IMPORTED GLOBAL)
  set_target_properties(${target} PROPERTIES
    IMPORTED_LOCATION ${MQQOE_DEVICE_LIBDIR}/${file}
    IMPORTED_NO_SONAME FALSE
    INTERFACE_INCLUDE_DIRECTORIES "${includes}")
endfunction()
mqqoe_device_lib(android::utils libutils.so "${MQQOE_PLATFORM_INCLUDES}")
mqqoe_device_lib(securec libsecurec.so ${CMAKE_SOURCE_DIR}/platform/securec/include)
mqqoe_device_lib(netd_client libnetd_client.so ${CMAKE_SOURCE_DIR}/platform/netd_client/include)
mqqoe_device_lib(veltromanager libveltromanager.so ${CMAKE_SOURCE_DIR}/platform/veltro/include)
