# Reference stall module: the short-video tracker's parser, built for user space.
add_library(http_tracker_fuzzlib STATIC ${CMAKE_SOURCE_DIR}/kernel/korun/http_tracker.c)
target_include_directories(http_tracker_fuzzlib PUBLIC ${CMAKE_SOURCE_DIR}/kernel/korun
  ${CMAKE_SOURCE_DIR}/kernel/include/uapi)
mqqoe_add_fuzzer(http_tracker_fuzz SOURCES ${CMAKE_CURRENT_LIST_DIR}/http_tracker_fuzz.cpp
  LIBS http_tracker_fuzzlib stall_engine SECONDS 30)
