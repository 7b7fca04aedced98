# One warning set for every target of ours.
add_library(mqqoe_warnings INTERFACE)
target_compile_options(mqqoe_warnings INTERFACE
  -Wall -Wextra -Wshadow -Wformat=2 -Wnon-virtual-dtor -Wcast-align -Wunused
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>)
option(MQQOE_WERROR "Treat warnings as errors" ON)
if(MQQOE_WERROR)
  target_compile_options(mqqoe_warnings INTERFACE -Werror)
endif()
