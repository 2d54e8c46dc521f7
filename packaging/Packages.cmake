# Debian packages: `cpack` in a build folder whose prefix is /usr (preset "release").

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR krmo)
set(CPACK_PACKAGE_CONTACT "krmo maintainers <maintainers@krmo.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/Compress.cmake)

set(CPACK_COMPONENTS_ALL runtime development)
if(TARGET krmo-tool)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(this_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(media "krmo drives removable SCSI disk media, magneto-optical disks and removable
hard disks with FAT32: it finds their partitions, mounts and unmounts them,
loads, unloads and ejects them, and reads and writes files.
")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libkrmo${KRMO_INTERFACE_VERSION})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# The library runs these programs.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "fdisk, parted, eject, mount")
# How Debian has the linker told of new libraries; cpack's own scripts do it once more.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "removable SCSI disk media - libraries
${media}
This package holds the libraries that programs load.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkrmo-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} ${this_version}")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "removable SCSI disk media - development files
${media}
This package holds what building a program with the libraries takes, and
examples.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME krmo-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} ${this_version}")
# krmo names fsck.fat where a file system needs it, and does not run it.
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS dosfstools)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "removable SCSI disk media - command line tool
${media}
This package holds the program krmo, which does all that by hand.")

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} key)
  set(documentation ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${key}_PACKAGE_NAME})
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright DESTINATION ${documentation} COMPONENT ${component})
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/changelog RENAME changelog.Debian
    DESTINATION ${documentation} COMPONENT ${component})
  install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md RENAME changelog
    DESTINATION ${documentation} COMPONENT ${component})
endforeach()

include(CPack)
