# Debian packages the AOSP host builds of libbase, liblog, libutils and libcutils.
# Their headers warn under -Wall, so they are included as system headers, and the
# libraries live in a private directory, so everything that links them gets an rpath.
set(ANDROID_HOST_INCLUDE_DIR /usr/include/android CACHE PATH "AOSP host headers")
set(ANDROID_HOST_LIB_DIR /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android CACHE PATH "AOSP host libraries")

if(NOT EXISTS ${ANDROID_HOST_INCLUDE_DIR}/android-base/properties.h)
  message(FATAL_ERROR "AOSP host headers not found under ${ANDROID_HOST_INCLUDE_DIR}; "
                      "run scripts/test, which installs them")
endif()

foreach(lib base log utils cutils)
  find_library(ANDROID_LIB_${lib} NAMES ${lib} PATHS ${ANDROID_HOST_LIB_DIR} NO_DEFAULT_PATH REQUIRED)
  add_library(android::${lib} SHARED IMPORTED)
  set_target_properties(android::${lib} PROPERTIES
      IMPORTED_LOCATION ${ANDROID_LIB_${lib}}
      INTERFACE_SYSTEM_INCLUDE_DIRECTORIES ${ANDROID_HOST_INCLUDE_DIR}
      INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_HOST_INCLUDE_DIR})
endforeach()

set(CMAKE_BUILD_RPATH ${ANDROID_HOST_LIB_DIR})
set(CMAKE_INSTALL_RPATH ${ANDROID_HOST_LIB_DIR})
