if(MQQOE_SANITIZE)
  add_compile_options(-fsanitize=${MQQOE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${MQQOE_SANITIZE})
endif()
