# Stall engine: kernel report parsing, and detectors fed arbitrary report sequences.
mqqoe_add_fuzzer(stall_report_fuzz SOURCES ${CMAKE_CURRENT_LIST_DIR}/stall_report_fuzz.cpp
  LIBS stall_engine SECONDS 30)
mqqoe_add_fuzzer(stall_detector_fuzz SOURCES ${CMAKE_CURRENT_LIST_DIR}/stall_detector_fuzz.cpp
  LIBS stall_engine SECONDS 30)
