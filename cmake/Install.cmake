# What `cmake --install` puts where, in the components of which the Debian packages are made:
#
#     runtime        the libraries, as programs load them
#     development    headers, CMake and pkg-config files, examples, the library's manual page
#     tools          the program krmo, its manual page and completion
#
# The prefix may be moved afterwards: everything is found from where it lies.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(config_directory ${CMAKE_INSTALL_LIBDIR}/cmake/krmo)
set(pkgconfig_directory ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Where the system's linker looks, nothing has to say where the libraries are. Elsewhere libkrmo finds the platform
# beside itself, and the program both; LD_LIBRARY_PATH comes before these.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set_target_properties(krmo PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()

install(TARGETS krmo krplatform EXPORT krmo-targets
  LIBRARY
    DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT runtime
    NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/krmo)
set_target_properties(krplatform PROPERTIES EXPORT_NAME platform)

foreach(header IN LISTS KRMO_PUBLIC_HEADERS)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${PROJECT_SOURCE_DIR}/${header}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/krmo/${folder} COMPONENT development)
endforeach()

write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/krmo-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/cmake/krmo-config-version.cmake
  DESTINATION ${config_directory} COMPONENT development)
install(EXPORT krmo-targets FILE krmo-config.cmake NAMESPACE krmo::
  DESTINATION ${config_directory} COMPONENT development)

file(RELATIVE_PATH prefix_from_pkgconfig /prefix/${pkgconfig_directory} /prefix)
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
configure_file(${PROJECT_SOURCE_DIR}/cmake/krmo.pc.in ${PROJECT_BINARY_DIR}/cmake/krmo.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/cmake/krmo.pc DESTINATION ${pkgconfig_directory} COMPONENT development)

install(FILES ${PROJECT_SOURCE_DIR}/docs/man/krmo.7
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man7 COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/docs/host-guide.md ${PROJECT_SOURCE_DIR}/docs/reliability.md
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libkrmo-dev COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/examples/host.cpp
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libkrmo-dev/examples COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/own-platform
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libkrmo-dev/examples COMPONENT development)

if(TARGET krmo-tool)
  if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH libraries_from_program
      /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
    set_target_properties(krmo-tool PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_program}")
  endif()
  install(TARGETS krmo-tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/man/krmo.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/reliability.md
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/krmo-tools COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/completion/krmo
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
endif()
