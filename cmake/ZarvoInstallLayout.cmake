# Where an installation puts things, and what version numbers it carries. Included once,
# right after project(), so every later install rule and subdirectory sees these settings.

# Debian keeps its libraries in the multiarch folder (lib/x86_64-linux-gnu), OpenCV's among
# them. GNUInstallDirs picks that folder only for the /usr prefix; pick it for every prefix
# so a package and a `cmake --install` lay out the same tree. A -DCMAKE_INSTALL_LIBDIR wins.
if(EXISTS /etc/debian_version AND CMAKE_LIBRARY_ARCHITECTURE AND NOT DEFINED CACHE{CMAKE_INSTALL_LIBDIR})
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Object code libraries (LIBDIR)")
endif()
include(GNUInstallDirs)

# Libraries and programs installed without a component of their own belong to the runtime
# package; headers, the CMake package and the pkg-config file name the dev component.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME runtime)

# Headers go under one folder of the project's own (include/zarvo-datatypes/core/...), as
# OpenCV's go under include/opencv4/, so nothing lands in /usr/include/core. Consumers add
# that folder to their include path and keep writing #include "core/datatypes/Variant.h".
set(ZARVO_INCLUDE_SUBDIR zarvo-datatypes)
set(ZARVO_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/${ZARVO_INCLUDE_SUBDIR})

# Before 1.0 every minor release may change the ABI (0.2 hides internal symbols that 0.1
# exported), so the SONAME and the CMake package compatibility follow major.minor until then.
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(ZARVO_SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  set(ZARVO_VERSION_COMPATIBILITY SameMinorVersion)
else()
  set(ZARVO_SOVERSION ${PROJECT_VERSION_MAJOR})
  set(ZARVO_VERSION_COMPATIBILITY SameMajorVersion)
endif()

# zarvo/version.h is generated from the project version into the build tree's include folder,
# which the libraries add to their build include path, and installed beside the other headers.
set(ZARVO_GENERATED_INCLUDEDIR ${PROJECT_BINARY_DIR}/include)
configure_file(${PROJECT_SOURCE_DIR}/zarvo/version.h.in ${ZARVO_GENERATED_INCLUDEDIR}/zarvo/version.h @ONLY)
