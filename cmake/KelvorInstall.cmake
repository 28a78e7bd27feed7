# Installation and packaging.
#
# `cmake --install <build> [--prefix <dir>]` puts in place:
#   - the public headers of the library and of the platform layers it exposes
#     (its headers include <hyarray/…>, <kelvor/core/…>, <fl/…> and, through
#     the services, <cppmicroservices/…>), plus the generated export.hpp;
#   - libkelvor_matrix.so and the platform shared libraries it stands on, each
#     finding its siblings through an $ORIGIN run path;
#   - a CMake package: find_package(KelvorMatrix CONFIG) gives kelvor::matrix,
#     kelvor::host, kelvor::core, kelvor::foundation and, when the registry
#     was built from platform/, CppMicroServices (the real package's name, so
#     that consumers link it the same way either way);
#   - a pkg-config file, kelvor-matrix.pc, relative to its own location so that
#     an install moved or made with --prefix still resolves.
if(NOT TARGET kelvor_matrix)
  return()
endif()

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(KELVOR_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/KelvorMatrix)

# The registry is ours to install only when it was built from platform/.
get_target_property(_kelvor_cppms_imported CppMicroServices IMPORTED)
if(_kelvor_cppms_imported)
  set(KELVOR_BUNDLED_CPPMICROSERVICES OFF)
else()
  set(KELVOR_BUNDLED_CPPMICROSERVICES ON)
endif()

# The platform layers name their include directories as plain source paths,
# which an exported target must not carry; keep them for the build tree only
# and point installed consumers at the install's include directory.
function(kelvor_installable_includes target)
  get_target_property(dirs ${target} INTERFACE_INCLUDE_DIRECTORIES)
  if(NOT dirs OR "${dirs}" MATCHES "INSTALL_INTERFACE")
    return()
  endif()
  set(fixed "")
  foreach(dir IN LISTS dirs)
    if(dir MATCHES "^\\$<")
      list(APPEND fixed "${dir}")
    else()
      list(APPEND fixed "$<BUILD_INTERFACE:${dir}>")
    endif()
  endforeach()
  list(APPEND fixed "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
  set_property(TARGET ${target} PROPERTY INTERFACE_INCLUDE_DIRECTORIES "${fixed}")
endfunction()

set(_kelvor_libraries kelvor_matrix kelvor_core kelvor_host kelvor_foundation)
set(_kelvor_header_dirs
  ${PROJECT_SOURCE_DIR}/include/
  ${PROJECT_SOURCE_DIR}/platform/host/include/
  ${PROJECT_SOURCE_DIR}/platform/core/include/
  ${PROJECT_SOURCE_DIR}/platform/foundation/include/)

foreach(target IN LISTS _kelvor_libraries)
  kelvor_installable_includes(${target})
  string(REPLACE "kelvor_" "" export_name ${target})
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${export_name}
    INSTALL_RPATH "$ORIGIN")
endforeach()

install(TARGETS ${_kelvor_libraries}
  EXPORT KelvorMatrixTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(EXPORT KelvorMatrixTargets
  NAMESPACE kelvor::
  DESTINATION ${KELVOR_INSTALL_CMAKEDIR})

if(KELVOR_BUNDLED_CPPMICROSERVICES)
  kelvor_installable_includes(CppMicroServices)
  set_target_properties(CppMicroServices PROPERTIES INSTALL_RPATH "$ORIGIN")
  # Its own export set without a namespace: the exported kelvor targets then
  # refer to it by its plain name, as they would to the real package's target.
  install(TARGETS CppMicroServices
    EXPORT KelvorCppMicroServicesTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(EXPORT KelvorCppMicroServicesTargets DESTINATION ${KELVOR_INSTALL_CMAKEDIR})
  list(APPEND _kelvor_header_dirs ${PROJECT_SOURCE_DIR}/platform/cppmicroservices/include/)
endif()

install(DIRECTORY ${_kelvor_header_dirs} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_BINARY_DIR}/include/kelvor/common/foundation/matrix/export.hpp
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kelvor/common/foundation/matrix)

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/KelvorMatrixConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/KelvorMatrixConfig.cmake
  INSTALL_DESTINATION ${KELVOR_INSTALL_CMAKEDIR})
# 0.x releases may change the interface between minor versions.
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/package/KelvorMatrixConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/package/KelvorMatrixConfig.cmake
  ${PROJECT_BINARY_DIR}/package/KelvorMatrixConfigVersion.cmake
  DESTINATION ${KELVOR_INSTALL_CMAKEDIR})

# pkg-config: every directory relative to the .pc file's own directory.
function(kelvor_pc_dir var dir)
  if(IS_ABSOLUTE "${dir}")
    set(${var} "${dir}" PARENT_SCOPE)
  else()
    set(${var} "\${prefix}/${dir}" PARENT_SCOPE)
  endif()
endfunction()
set(_kelvor_pc_home ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(KELVOR_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH _kelvor_up /prefix/${_kelvor_pc_home} /prefix)
  set(KELVOR_PC_PREFIX "\${pcfiledir}/${_kelvor_up}")
  string(REGEX REPLACE "/$" "" KELVOR_PC_PREFIX "${KELVOR_PC_PREFIX}")
endif()
kelvor_pc_dir(KELVOR_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
kelvor_pc_dir(KELVOR_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
# Boost is header-only here and has no pkg-config file; name its directory
# unless the compiler searches it anyway.
set(KELVOR_PC_EXTRA_CFLAGS "")
foreach(dir IN LISTS Boost_INCLUDE_DIRS)
  if(NOT dir IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
    string(APPEND KELVOR_PC_EXTRA_CFLAGS " -I${dir}")
  endif()
endforeach()
configure_file(${CMAKE_CURRENT_LIST_DIR}/kelvor-matrix.pc.in
  ${PROJECT_BINARY_DIR}/package/kelvor-matrix.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/kelvor-matrix.pc DESTINATION ${_kelvor_pc_home})
