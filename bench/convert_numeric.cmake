# The conversion benchmark also measures OpenCV's convertTo on the same data
# when the machine has it (scripts/bootstrap bench installs it). Only this
# program uses it; the library never depends on it.
find_package(OpenCV QUIET COMPONENTS core)
if(NOT OpenCV_FOUND)
  # Debian's libopencv-core-dev carries no CMake package: find its two files.
  find_path(KELVOR_OPENCV_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4)
  find_library(KELVOR_OPENCV_CORE_LIBRARY opencv_core)
  if(KELVOR_OPENCV_INCLUDE_DIR AND KELVOR_OPENCV_CORE_LIBRARY)
    set(OpenCV_FOUND TRUE)
    set(OpenCV_INCLUDE_DIRS ${KELVOR_OPENCV_INCLUDE_DIR})
    set(OpenCV_LIBS ${KELVOR_OPENCV_CORE_LIBRARY})
  endif()
endif()
kelvor_add_bench(convert_numeric SOURCES convert_numeric.cpp)
if(OpenCV_FOUND)
  target_include_directories(bench_convert_numeric SYSTEM PRIVATE ${OpenCV_INCLUDE_DIRS})
  target_link_libraries(bench_convert_numeric PRIVATE ${OpenCV_LIBS})
  target_compile_definitions(bench_convert_numeric PRIVATE KELVOR_BENCH_HAS_OPENCV=1)
endif()
