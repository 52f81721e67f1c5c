# Debian packages through CPack, one per install component:
#   libzarvo-datatypes      (runtime) the shared libraries with their SONAMEs, nothing else
#   libzarvo-datatypes-dev  (dev)     headers, CMake package, pkg-config file, the .so links
#   zarvo-tools             (tools)   zarvo-inspect, with OpenCV's image codecs for --png
#   python3-zarvo-datatypes (python)  the Python module zarvo_datatypes
#   libzarvo-hdf5           (hdf5)    the HDF5 recording library, when built
#   libzarvo-hdf5-dev       (hdf5_dev) its headers, CMake targets, pkg-config file, .so link
#   libzarvo-transport      (transport) the ZeroMQ transport library, when built
#   libzarvo-transport-dev  (transport_dev) its headers, CMake targets, pkg-config file, .so link
# `make package` (or `cpack -G DEB` in the build folder) writes
# <package>_<version>-<release>_<arch>.deb for each of them.

set(ZARVO_PACKAGE_MAINTAINER "zarvo-datatypes developers <zarvo-datatypes@localhost>"
    CACHE STRING "Maintainer field of the Debian packages")
set(ZARVO_PACKAGE_RELEASE 1 CACHE STRING "Debian revision of the packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zarvo-datatypes)
set(CPACK_PACKAGE_CONTACT ${ZARVO_PACKAGE_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "data types of a measuring-instrument framework")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
if(ZARVO_BUILD_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
endif()
if(TARGET zarvo_hdf5)
  list(APPEND CPACK_COMPONENTS_ALL hdf5 hdf5_dev)
endif()
if(TARGET zarvo_transport)
  list(APPEND CPACK_COMPONENTS_ALL transport transport_dev)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${ZARVO_PACKAGE_RELEASE})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzarvo-datatypes)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# Dependencies on libc, libstdc++ and OpenCV core come from dpkg-shlibdeps, so they name the
# versions this build was linked against; the shlibs file lets other packages do the same.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(_zarvo_deb_version ${PROJECT_VERSION}-${ZARVO_PACKAGE_RELEASE})
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libzarvo-datatypes-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libzarvo-datatypes (= ${_zarvo_deb_version}), libopencv-core-dev")

# The program's own libraries are not installed while the packages are made, so
# dpkg-shlibdeps cannot name their package: it is named here, and the rest (OpenCV's image
# codecs, libc, libstdc++) comes from dpkg-shlibdeps as for the libraries.
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zarvo-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libzarvo-datatypes (= ${_zarvo_deb_version})")
# As for the tools: the libraries the module links come from dpkg-shlibdeps, the project's
# own runtime package is named here, and so is numpy, which the module imports (a Python
# module links no libpython, so nothing else would name it; numpy brings python3).
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-zarvo-datatypes)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "libzarvo-datatypes (= ${_zarvo_deb_version}), python3-numpy")

# Where dpkg-shlibdeps finds the project's own libraries that a packaged binary links.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})

# The recording library: HDF5's runtime comes from dpkg-shlibdeps, the project's own
# library is named here as for the tools.
# zarvo-inspect reads recordings through it.
if(TARGET zarvo_hdf5)
  string(APPEND CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ", libzarvo-hdf5 (= ${_zarvo_deb_version})")
endif()
set(CPACK_DEBIAN_HDF5_PACKAGE_NAME libzarvo-hdf5)
set(CPACK_DEBIAN_HDF5_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_HDF5_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_HDF5_PACKAGE_DEPENDS "libzarvo-datatypes (= ${_zarvo_deb_version})")
set(CPACK_DEBIAN_HDF5_DEV_PACKAGE_NAME libzarvo-hdf5-dev)
set(CPACK_DEBIAN_HDF5_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_HDF5_DEV_PACKAGE_DEPENDS "libzarvo-hdf5 (= ${_zarvo_deb_version}), libzarvo-datatypes-dev (= ${_zarvo_deb_version})")

# The transport library: ZeroMQ's runtime comes from dpkg-shlibdeps, the project's own
# library is named here as for the recording library.
# zarvo-inspect (listen, record, send) and the Python module (the sockets) send and receive through it.
if(TARGET zarvo_transport)
  string(APPEND CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ", libzarvo-transport (= ${_zarvo_deb_version})")
  string(APPEND CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS ", libzarvo-transport (= ${_zarvo_deb_version})")
endif()
set(CPACK_DEBIAN_TRANSPORT_PACKAGE_NAME libzarvo-transport)
set(CPACK_DEBIAN_TRANSPORT_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_TRANSPORT_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TRANSPORT_PACKAGE_DEPENDS "libzarvo-datatypes (= ${_zarvo_deb_version})")
set(CPACK_DEBIAN_TRANSPORT_DEV_PACKAGE_NAME libzarvo-transport-dev)
set(CPACK_DEBIAN_TRANSPORT_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TRANSPORT_DEV_PACKAGE_DEPENDS
    "libzarvo-transport (= ${_zarvo_deb_version}), libzarvo-datatypes-dev (= ${_zarvo_deb_version})")

include(CPack)
cpack_add_component(runtime DISPLAY_NAME "zarvo-datatypes libraries"
                    DESCRIPTION "Shared libraries valuefault, valuetext and zarvo_datatypes.")
cpack_add_component(dev DISPLAY_NAME "zarvo-datatypes development files"
                    DESCRIPTION "Headers, CMake package and pkg-config file of zarvo-datatypes.")
cpack_add_component(tools DISPLAY_NAME "zarvo-datatypes tools"
                    DESCRIPTION "zarvo-inspect: shows what byte forms hold and writes them from text.")
cpack_add_component(python DISPLAY_NAME "zarvo-datatypes for Python"
                    DESCRIPTION "The Python module zarvo_datatypes: values, storages, frames and records, with numpy.")
cpack_add_component(hdf5 DISPLAY_NAME "zarvo-datatypes HDF5 recording"
                    DESCRIPTION "zarvo_hdf5: values, storages, frames and recordings in HDF5 files.")
cpack_add_component(transport DISPLAY_NAME "zarvo-datatypes transport"
                    DESCRIPTION "zarvo_transport: values, storages and frames between processes and machines over ZeroMQ.")
cpack_add_component(transport_dev DISPLAY_NAME "zarvo-datatypes transport development files"
                    DESCRIPTION "Headers, CMake targets and pkg-config file of zarvo_transport.")
cpack_add_component(hdf5_dev DISPLAY_NAME "zarvo-datatypes HDF5 recording development files"
                    DESCRIPTION "Headers, CMake targets and pkg-config file of zarvo_hdf5.")
