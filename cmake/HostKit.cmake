# The installable host kit: `cmake --install build --prefix DIR` puts under DIR
#   lib/libfp_utils.so                  the library, which finds the stand-ins through its rpath
#   include/fp_utils/                   its public headers
#   lib/fp_utils-host/                  the host stand-ins of the platform libraries, named like
#                                       the device's, and libfp_utils_host.a: the stand-ins'
#                                       control functions and the touch device's ioctl
#                                       interposer, linked whole into a test executable
#   include/fp_utils-host/              the stand-ins' headers at the platform's paths, and the
#                                       control headers under host/
#   bin/fputil
#   lib/cmake/fp_utils/                 find_package(fp_utils): fp_utils::fp_utils, fp_utils::host
#   lib/pkgconfig/                      fp_utils.pc and fp_utils-host.pc
# The stand-ins and the control archive are for a host only; a device has the real libraries.
# Everything is found relative to the prefix, so the tree may be moved as a whole.

include(GNUInstallDirs)
set(FP_UTILS_HOST_LIBDIR ${CMAKE_INSTALL_LIBDIR}/fp_utils-host)
set(FP_UTILS_HOST_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/fp_utils-host)

# The stand-ins of platform libraries: the shared libraries of this project that the library
# links, each with its headers at the platform's paths (host/<name>/include; the sensor and
# looper headers are Debian's).
set(FP_UTILS_STAND_INS)
set(FP_UTILS_STAND_IN_HEADERS)
get_target_property(library_links fp_utils_internal LINK_LIBRARIES)
foreach(target ${library_links})
  if(TARGET ${target})
    get_target_property(type ${target} TYPE)
    get_target_property(imported ${target} IMPORTED)
    if(type STREQUAL "SHARED_LIBRARY" AND NOT imported)
      list(APPEND FP_UTILS_STAND_INS ${target})
      get_target_property(dirs ${target} INTERFACE_INCLUDE_DIRECTORIES)
      list(FILTER dirs INCLUDE REGEX "^${PROJECT_SOURCE_DIR}/host/.+/include$")
      list(APPEND FP_UTILS_STAND_IN_HEADERS ${dirs})
    endif()
  endif()
endforeach()
list(REMOVE_DUPLICATES FP_UTILS_STAND_IN_HEADERS)

# The control archive: the objects of fp_utils_host, and the root mapping's host half, which
# the touch device uses and libfp_utils.so keeps to itself.
add_library(fp_utils_host_kit STATIC
    $<TARGET_OBJECTS:fp_utils_host> ${PROJECT_SOURCE_DIR}/root_mapping/device_path_host.cpp)
set_target_properties(fp_utils_host_kit PROPERTIES OUTPUT_NAME fp_utils_host)
target_include_directories(fp_utils_host_kit PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_options(fp_utils_host_kit PRIVATE ${FP_UTILS_WARNINGS})

set_target_properties(fp_utils PROPERTIES
    INSTALL_RPATH "$ORIGIN/fp_utils-host;${ANDROID_HOST_LIB_DIR}")
set_target_properties(fputil PROPERTIES
    INSTALL_RPATH "$ORIGIN/../${FP_UTILS_HOST_LIBDIR};${ANDROID_HOST_LIB_DIR}")
install(TARGETS fp_utils LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS fputil RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS fp_utils_host_kit ARCHIVE DESTINATION ${FP_UTILS_HOST_LIBDIR})
install(DIRECTORY include/fp_utils DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
file(GLOB control_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/host/*_control.h)
install(FILES host/touch_device.h ${control_headers} DESTINATION ${FP_UTILS_HOST_INCLUDEDIR}/host)

set(stand_in_files)
set(stand_in_pkg_libs)
foreach(target ${FP_UTILS_STAND_INS})
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN;${ANDROID_HOST_LIB_DIR}")
  install(TARGETS ${target} LIBRARY DESTINATION ${FP_UTILS_HOST_LIBDIR})
  list(APPEND stand_in_files "$<TARGET_FILE_NAME:${target}>")
  string(APPEND stand_in_pkg_libs " -l:$<TARGET_FILE_NAME:${target}>")
endforeach()
foreach(dir ${FP_UTILS_STAND_IN_HEADERS})
  install(DIRECTORY ${dir}/ DESTINATION ${FP_UTILS_HOST_INCLUDEDIR})
endforeach()

# The package files name the stand-ins by their file names, known once the build is generated.
set(kit_dir ${CMAKE_BINARY_DIR}/host_kit)
configure_file(cmake/fp_utils-config.cmake.in ${kit_dir}/fp_utils-config.cmake.in @ONLY)
file(GENERATE OUTPUT ${kit_dir}/fp_utils-config.cmake INPUT ${kit_dir}/fp_utils-config.cmake.in)
foreach(pc fp_utils fp_utils-host)
  configure_file(cmake/${pc}.pc.in ${kit_dir}/${pc}.pc.in @ONLY)
  file(GENERATE OUTPUT ${kit_dir}/${pc}.pc INPUT ${kit_dir}/${pc}.pc.in)
endforeach()
include(CMakePackageConfigHelpers)
write_basic_package_version_file(${kit_dir}/fp_utils-config-version.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${kit_dir}/fp_utils-config.cmake ${kit_dir}/fp_utils-config-version.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/fp_utils)
install(FILES ${kit_dir}/fp_utils.pc ${kit_dir}/fp_utils-host.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
