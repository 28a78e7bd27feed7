# Run by CTest (cmake -P). Installs BUILD_DIR into WORK_DIR/prefix, builds the
# consumer project against it with CMake, then compiles the same program with
# the flags pkg-config gives, and runs both.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " cmd "${ARGN}")
    message(FATAL_ERROR "failed (${rc}): ${cmd}\n${out}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# find_package route.
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/consumer -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX}
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
run(${WORK_DIR}/consumer/consumer)
message(STATUS "find_package: ${last_output}")

# pkg-config route: the .pc file locates everything relative to itself.
if(NOT PKG_CONFIG)
  message(FATAL_ERROR "pkg-config not found")
endif()
file(GLOB_RECURSE pc_files ${prefix}/kelvor-matrix.pc)
list(LENGTH pc_files n)
if(NOT n EQUAL 1)
  message(FATAL_ERROR "expected one kelvor-matrix.pc under ${prefix}, found: ${pc_files}")
endif()
get_filename_component(pc_dir ${pc_files} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
run(${PKG_CONFIG} --cflags --libs kelvor-matrix)
string(STRIP "${last_output}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(extra UNIX_COMMAND "${CXX_FLAGS}")
run(${CXX} -std=c++20 -Wall -Wextra -Wpedantic -Werror ${extra} ${CONSUMER_DIR}/main.cpp
    ${pc_flags} -o ${WORK_DIR}/pc_consumer)
get_filename_component(libdir ${pc_dir} DIRECTORY)
set(ENV{LD_LIBRARY_PATH} ${libdir})
run(${WORK_DIR}/pc_consumer)
message(STATUS "pkg-config: ${last_output}")
