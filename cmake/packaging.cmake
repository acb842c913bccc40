# Installation and packages. `cmake --install` lays out the shared library
# (with its soname on Linux; the DLL, its import library and a .def on
# Windows), both public headers, zem, a CMake package giving the imported
# target zemi40::zemi40 and the pkg-config file zemi40.pc. CPack makes of
# it two Debian packages, zemi40 (library and zem) and zemi40-dev (headers,
# CMake and pkg-config files), or one zip of a Windows build.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

if(NOT WIN32)
  set_target_properties(zemi40 PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endif()
target_include_directories(zemi40 INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

install(TARGETS zemi40 EXPORT zemi40-targets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
install(FILES ${CMAKE_SOURCE_DIR}/include/zemi40.h ${CMAKE_SOURCE_DIR}/include/zemi40_values.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development)
if(TARGET zem)
  install(TARGETS zem RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime)
endif()

# The .def lists what zemi40.dll exports, for making an import library with
# another compiler's tools. On 32-bit it is the one with the __stdcall
# names decorated, which those tools map to the DLL's undecorated ones.
if(WIN32)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    install(FILES ${CMAKE_BINARY_DIR}/zemi40.def.decorated RENAME zemi40.def
      DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
  else()
    target_link_options(zemi40 PRIVATE -Wl,--output-def,${CMAKE_BINARY_DIR}/zemi40.def)
    install(FILES ${CMAKE_BINARY_DIR}/zemi40.def
      DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
  endif()
endif()

set(ZEM_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/zemi40)
install(EXPORT zemi40-targets NAMESPACE zemi40:: FILE zemi40-targets.cmake
  DESTINATION ${ZEM_CMAKEDIR} COMPONENT Development)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/zemi40-config.cmake.in
  ${CMAKE_BINARY_DIR}/zemi40-config.cmake INSTALL_DESTINATION ${ZEM_CMAKEDIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/zemi40-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/zemi40-config.cmake ${CMAKE_BINARY_DIR}/zemi40-config-version.cmake
  DESTINATION ${ZEM_CMAKEDIR} COMPONENT Development)

# zemi40.pc finds the prefix from its own place, so that the tree can be
# installed under any prefix, or unpacked anywhere.
file(RELATIVE_PATH ZEM_PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" ZEM_PC_PREFIX ${ZEM_PC_PREFIX})
configure_file(${CMAKE_SOURCE_DIR}/cmake/zemi40.pc.in ${CMAKE_BINARY_DIR}/zemi40.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zemi40.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

set(CPACK_PACKAGE_NAME zemi40)
set(CPACK_PACKAGE_VENDOR "zemi40")
set(CPACK_PACKAGE_CONTACT "zemi40 developers <zemi40@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Embeddable formula engine with a C interface")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(CPACK_SYSTEM_NAME win32)
  else()
    set(CPACK_SYSTEM_NAME win64)
  endif()
  set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_ALL Runtime Development)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  if(ZEM_M32)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
  endif()
  set(CPACK_DEBIAN_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME zemi40)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME zemi40-dev)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "zemi40 (= ${PROJECT_VERSION})")
endif()
include(CPack)
