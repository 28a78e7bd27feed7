# Sanitizer builds apply to every target of the tree (platform layers
# included) so that reports cover the whole process.
if(KELVOR_SANITIZE)
  add_compile_options(-fsanitize=${KELVOR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KELVOR_SANITIZE})
endif()
