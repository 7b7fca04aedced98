# Clustering core: parameter strings, and rows of any shape through the pipelines.
mqqoe_add_fuzzer(wmpcore_param_fuzz SOURCES ${CMAKE_CURRENT_LIST_DIR}/wmpcore_param_fuzz.cpp
  LIBS wmpcore SECONDS 30)
mqqoe_add_fuzzer(wmpcore_pipeline_fuzz SOURCES ${CMAKE_CURRENT_LIST_DIR}/wmpcore_pipeline_fuzz.cpp
  LIBS wmpcore SECONDS 60)
