# Installs zarvo_datatypes.pc (dev component), zarvo_hdf5.pc (hdf5_dev) and zarvo_transport.pc
# (transport_dev) when those libraries are built, into LIBDIR/pkgconfig.

# OpenCV core's flags, as found for this build; folders the compiler searches anyway are left out.
get_target_property(_zarvo_cv_includes opencv_core INTERFACE_INCLUDE_DIRECTORIES)
set(ZARVO_PC_OPENCV_CFLAGS "")
foreach(_dir IN LISTS _zarvo_cv_includes)
  if(NOT _dir IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
    string(APPEND ZARVO_PC_OPENCV_CFLAGS " -I${_dir}")
  endif()
endforeach()
set(ZARVO_PC_OPENCV_LIBS " -lopencv_core")
if(ZARVO_OPENCV_CORE_LIBRARY)
  get_filename_component(_zarvo_cv_libdir ${ZARVO_OPENCV_CORE_LIBRARY} DIRECTORY)
  if(NOT _zarvo_cv_libdir IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
    set(ZARVO_PC_OPENCV_LIBS " -L${_zarvo_cv_libdir} -lopencv_core")
  endif()
endif()

# Paths below the prefix stay relative to it, so redirecting the prefix moves them all.
foreach(_kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE ${CMAKE_INSTALL_${_kind}})
    set(ZARVO_PC_${_kind} ${CMAKE_INSTALL_${_kind}})
  else()
    set(ZARVO_PC_${_kind} "\${prefix}/${CMAKE_INSTALL_${_kind}}")
  endif()
endforeach()

# Everything but the prefix is known now; the prefix only when installing. Each install
# writes its own copy (keyed by where it goes), so concurrent installs cannot mix them up.
# zarvo_install_pkg_config(NAME COMPONENT) installs NAME.pc from cmake/NAME.pc.in.
set(ZARVO_PC_PREFIX "@ZARVO_PC_PREFIX@")
set(_zarvo_pc_destination ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(NOT IS_ABSOLUTE ${_zarvo_pc_destination})
  set(_zarvo_pc_destination "\${CMAKE_INSTALL_PREFIX}/${_zarvo_pc_destination}")
endif()
function(zarvo_install_pkg_config name component)
  set(template ${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc.in)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${template} @ONLY)
  install(CODE "
    set(ZARVO_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
    string(MD5 _zarvo_pc_key \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
    set(_zarvo_pc \"${PROJECT_BINARY_DIR}/pkgconfig/\${_zarvo_pc_key}/${name}.pc\")
    configure_file(\"${template}\" \"\${_zarvo_pc}\" @ONLY)
    file(INSTALL DESTINATION \"${_zarvo_pc_destination}\" TYPE FILE FILES \"\${_zarvo_pc}\")" COMPONENT ${component})
endfunction()
zarvo_install_pkg_config(zarvo_datatypes dev)
if(TARGET zarvo_hdf5)
  zarvo_install_pkg_config(zarvo_hdf5 hdf5_dev)
endif()
if(TARGET zarvo_transport)
  zarvo_install_pkg_config(zarvo_transport transport_dev)
endif()
