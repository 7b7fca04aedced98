# Debian ships the real Android liblog and libutils for Linux under a private
# folder; the imported targets carry the include path and a run path to it.
set(ANDROID_HOST_LIBDIR "/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android" CACHE PATH
    "Folder of Debian's android-liblog and android-libutils")
find_path(ANDROID_LOG_INCLUDE android/log.h PATHS /usr/include/android REQUIRED NO_DEFAULT_PATH)
find_library(ANDROID_LOG_LIB log PATHS ${ANDROID_HOST_LIBDIR} REQUIRED NO_DEFAULT_PATH)
find_library(ANDROID_UTILS_LIB utils PATHS ${ANDROID_HOST_LIBDIR} REQUIRED NO_DEFAULT_PATH)

add_library(android::log SHARED IMPORTED GLOBAL)
set_target_properties(android::log PROPERTIES
  IMPORTED_LOCATION ${ANDROID_LOG_LIB}
  INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_LOG_INCLUDE})
add_library(android::utils SHARED IMPORTED GLOBAL)
set_target_properties(android::utils PROPERTIES
  IMPORTED_LOCATION ${ANDROID_UTILS_LIB}
  INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_LOG_INCLUDE}
  INTERFACE_LINK_LIBRARIES android::log)

# Everything we build finds these at run time, in the build tree and in the JVM.
set(CMAKE_BUILD_RPATH "${ANDROID_HOST_LIBDIR}")
set(CMAKE_INSTALL_RPATH "${ANDROID_HOST_LIBDIR}")
