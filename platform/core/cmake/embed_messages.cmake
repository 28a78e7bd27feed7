# Turns the message resource into a C++ source holding its text, so that the
# catalog is part of the library and needs no file at run time.
# Usage: cmake -DINPUT=<messages.txt> -DOUTPUT=<file.cpp> -P embed_messages.cmake
file(READ "${INPUT}" content)
set(delimiter "kelvor_messages")
string(FIND "${content}" ")${delimiter}\"" clash)
if(NOT clash EQUAL -1)
  message(FATAL_ERROR "${INPUT} contains the raw-string delimiter )${delimiter}\"")
endif()
set(text "// Generated from ${INPUT}; edit that file instead.\n")
string(APPEND text "#include <string_view>\n\n")
string(APPEND text "namespace klf::detail {\n")
string(APPEND text "extern const std::string_view message_resource;\n")
string(APPEND text "const std::string_view message_resource = R\"${delimiter}(")
string(APPEND text "${content}")
string(APPEND text ")${delimiter}\";\n}  // namespace klf::detail\n")
file(WRITE "${OUTPUT}.tmp" "${text}")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
