# Runs kelvor-fingerprint (TOOL) on the files in DATA. sample.json is a golden
# vector ("struct in cell in struct"): its chunks and their SHA-256 are known.
cmake_minimum_required(VERSION 3.25)

set(failures 0)
macro(fail text)
  message(SEND_ERROR "${text}")
  math(EXPR failures "${failures} + 1")
endmacro()

# The digest of a file argument, and the chunks read from standard input.
file(READ ${DATA}/sample.sha256 expected_digest)
execute_process(COMMAND ${TOOL} ${DATA}/sample.json
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out STREQUAL expected_digest OR NOT err STREQUAL "")
  fail("digest: status ${rc}, output '${out}', stderr '${err}'; expected '${expected_digest}'")
endif()

file(READ ${DATA}/sample.chunks expected_chunks)
execute_process(COMMAND ${TOOL} --chunks -
  INPUT_FILE ${DATA}/sample.json
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out STREQUAL expected_chunks)
  fail("chunks from stdin: status ${rc}, stderr '${err}', output:\n${out}")
endif()

# Each failure: exit status 2, nothing on stdout, exactly one line on stderr
# starting with the expected text. Rows: name | arguments | stderr prefix.
set(rows
  "bad JSON|${DATA}/bad-json.json|kelvor-fingerprint: bad JSON: "
  "impossible value|${DATA}/impossible.json|kelvor-fingerprint: value_json: "
  "missing file|${DATA}/no-such-file.json|kelvor-fingerprint: cannot open '"
  "unknown option|--digest|kelvor-fingerprint: unknown option '--digest'"
  "two inputs|${DATA}/sample.json,${DATA}/sample.json|kelvor-fingerprint: more than one input")
foreach(row IN LISTS rows)
  string(REPLACE "|" ";" parts "${row}")
  list(GET parts 0 name)
  list(GET parts 1 args)
  list(GET parts 2 prefix)
  string(REPLACE "," ";" args "${args}")
  execute_process(COMMAND ${TOOL} ${args}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  string(LENGTH "${prefix}" n)
  string(SUBSTRING "${err}" 0 ${n} head)
  string(REGEX MATCHALL "\n" newlines "${err}")
  list(LENGTH newlines lines)
  if(NOT rc EQUAL 2 OR NOT out STREQUAL "" OR NOT head STREQUAL prefix OR NOT lines EQUAL 1)
    fail("${name}: status ${rc}, stdout '${out}', stderr '${err}'")
  endif()
endforeach()

if(failures GREATER 0)
  message(FATAL_ERROR "${failures} check(s) failed")
endif()
