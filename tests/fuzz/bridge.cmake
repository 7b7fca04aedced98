# Platform bridge: the proc table scanners, and received netlink messages
# through the toolkit's parser and the monitor reply.
mqqoe_add_fuzzer(proc_line_fuzz SOURCES ${CMAKE_CURRENT_LIST_DIR}/proc_line_fuzz.cpp
  LIBS qoe_bridge SECONDS 30)
mqqoe_add_fuzzer(netlink_message_fuzz SOURCES ${CMAKE_CURRENT_LIST_DIR}/netlink_message_fuzz.cpp
  LIBS qoe_bridge SECONDS 30)
