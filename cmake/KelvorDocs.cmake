# The API reference: a `docs` target that runs Doxygen over the public
# headers (docs/Doxyfile.in). Present only when Doxygen is installed
# (`scripts/bootstrap docs` installs it); `make docs` does both.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND OR NOT TARGET kelvor_matrix)
  return()
endif()

set(KELVOR_DOCS_OUTPUT ${PROJECT_BINARY_DIR}/docs)
# Headers the public ones include, so that Doxygen sees the declarations
# and macros they bring; they are read, not documented.
set(KELVOR_DOCS_INCLUDE_PATH "")
foreach(dir
    ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include
    ${PROJECT_SOURCE_DIR}/platform/host/include ${PROJECT_SOURCE_DIR}/platform/core/include
    ${PROJECT_SOURCE_DIR}/platform/foundation/include)
  string(APPEND KELVOR_DOCS_INCLUDE_PATH " ${dir}")
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${PROJECT_BINARY_DIR}/docs/Doxyfile @ONLY)

add_custom_target(docs
  COMMAND ${DOXYGEN_EXECUTABLE} ${PROJECT_BINARY_DIR}/docs/Doxyfile
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  COMMENT "API reference in ${KELVOR_DOCS_OUTPUT}/html"
  VERBATIM)
