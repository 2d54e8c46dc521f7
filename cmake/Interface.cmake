# The interface of the libraries: headers, sonames and what is exported.

# Raised by a change after which a host that was built before does not work any more. packaging/abi/ keeps what must
# not change until then.
set(KRMO_INTERFACE_VERSION 1)

# Each compiles alone; all others are internal.
set(KRMO_PUBLIC_HEADERS
  backend/KRBaseMODiskImpl.h
  drive/KRHardDiskDrive.h
  drive/KRScsiMODiskDrive.h
  drive/KrCriticalSection.h
  platform/KRMediaCodes.h
  platform/KRQuadWord.h
  platform/KrCriticalSectionH.h
  platform/KrException.h
  platform/MMS2BaseError.h
  platform/UXScsi.h
  platform/ZOSleep.h
  unix/DiskInventory.h
  unix/KRUnixMODiskImpl.h)

foreach(library krmo krplatform)
  set(map ${PROJECT_SOURCE_DIR}/cmake/${library}.map)
  set_target_properties(${library} PROPERTIES
    VERSION ${KRMO_INTERFACE_VERSION}.${PROJECT_VERSION_MINOR}.${PROJECT_VERSION_PATCH}
    SOVERSION ${KRMO_INTERFACE_VERSION}
    LINK_DEPENDS ${map})
  target_link_options(${library} PRIVATE LINKER:--version-script=${map})
endforeach()
