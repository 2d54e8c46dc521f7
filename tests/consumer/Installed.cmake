# Installs a build through DESTDIR, moves what came of it, and uses it from there.
#
#     cmake -D build=FOLDER -D source=FOLDER -D generator=NAME -P Installed.cmake
cmake_minimum_required(VERSION 3.25)

set(work ${build}/installed)
file(REMOVE_RECURSE ${work})
set(ENV{DESTDIR} ${work}/destination)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${build} --prefix /opt/krmo
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
unset(ENV{DESTDIR})
set(prefix ${work}/moved/somewhere)
file(MAKE_DIRECTORY ${work}/moved)
file(RENAME ${work}/destination/opt/krmo ${prefix})

# Where it was built must not matter.
execute_process(COMMAND grep -rlF -e ${source} -e ${build} ${prefix} OUTPUT_VARIABLE told)
if(told)
  message(FATAL_ERROR "These tell where they were built:\n${told}")
endif()

if(EXISTS ${prefix}/bin/krmo)
  execute_process(COMMAND ${prefix}/bin/krmo --help OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endif()
set(work ${work}/consumer)
include(${CMAKE_CURRENT_LIST_DIR}/BuildAndRun.cmake)
