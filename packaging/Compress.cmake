# Run by cpack over what was installed, before the packages are made: Debian keeps manual pages and changelogs
# compressed.
file(GLOB_RECURSE documents
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/*
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/changelog*)
foreach(document IN LISTS documents)
  if(NOT document MATCHES "\\.gz$")
    execute_process(COMMAND gzip --best --no-name ${document} COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
