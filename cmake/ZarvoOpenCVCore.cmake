# Provides the target opencv_core. Debian's libopencv-core-dev ships the headers
# and the library but no CMake package, so fall back to finding them directly.
if(NOT TARGET opencv_core)
  find_package(OpenCV QUIET COMPONENTS core)
endif()
if(NOT TARGET opencv_core)
  find_path(ZARVO_OPENCV_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4 REQUIRED)
  find_library(ZARVO_OPENCV_CORE_LIBRARY opencv_core REQUIRED)
  add_library(opencv_core SHARED IMPORTED)
  set_target_properties(opencv_core PROPERTIES IMPORTED_LOCATION ${ZARVO_OPENCV_CORE_LIBRARY}
                                               INTERFACE_INCLUDE_DIRECTORIES ${ZARVO_OPENCV_INCLUDE_DIR})
endif()
