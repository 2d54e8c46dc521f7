# Builds hosts against an installed krmo, by CMake and by pkg-config, and runs them.
#
#     cmake -D prefix=FOLDER -D work=FOLDER -D generator=NAME [-D run=PROGRAM;ARGUMENT...] -P BuildAndRun.cmake
#
# `generator` is CMake's for these builds: one whose build program is known to be there.
# `run` is put before the example host and given a drive at /dev/sda: the lab. Without it there is no drive, and the
# host has to say so.
cmake_minimum_required(VERSION 3.25)

file(GLOB_RECURSE pkgconfig_file ${prefix}/lib/*krmo.pc)
cmake_path(GET pkgconfig_file PARENT_PATH pkgconfig)
cmake_path(GET pkgconfig PARENT_PATH libraries)
set(ENV{PKG_CONFIG_PATH} ${pkgconfig})

function(step)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(run_host program)
  set(host env LD_LIBRARY_PATH=${libraries} ${program})
  if(run)
    step(${run} ${host} /dev/sda)
    return()
  endif()
  execute_process(COMMAND ${host} "" OUTPUT_VARIABLE output RESULT_VARIABLE status)
  if(NOT status EQUAL 1 OR NOT output MATCHES "Physical Address of the drive is empty")
    message(FATAL_ERROR "${program} ended with ${status} and said:\n${output}")
  endif()
endfunction()

file(REMOVE_RECURSE ${work})
step(${CMAKE_COMMAND} -G "${generator}" -S ${CMAKE_CURRENT_LIST_DIR} -B ${work}/cmake -DCMAKE_PREFIX_PATH=${prefix})
step(${CMAKE_COMMAND} --build ${work}/cmake --parallel 2)
run_host(${work}/cmake/krmo-host)
step(timeout 60 env LD_LIBRARY_PATH=${libraries} ${work}/cmake/own-platform/own-platform-host)

execute_process(COMMAND pkg-config --cflags --libs krmo OUTPUT_VARIABLE flags COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
set(source ${prefix}/share/doc/libkrmo-dev/examples/host.cpp)
step(c++ -std=c++17 ${source} ${flags} -o ${work}/krmo-host)
run_host(${work}/krmo-host)
