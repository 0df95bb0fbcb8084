# Installs the project into a scratch prefix, builds the readpoint example
# against it with find_package(MVShared) alone, and runs it on the sample
# plant: the exported CMake package, the installed headers, the dictionary
# beside the installed library and the run-time paths all have to work.
#
# Expects: BUILD_DIR, SOURCE_DIR, WORK_DIR; SANITIZE, the sanitizers the
# installed libraries were built with (a program using them needs them too).
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
set(sanitize_flags)
if(SANITIZE)
  set(sanitize_flags -DCMAKE_CXX_FLAGS=-fsanitize=${SANITIZE} -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=${SANITIZE})
endif()

execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
                RESULT_VARIABLE rc OUTPUT_QUIET)
if(rc)
  message(FATAL_ERROR "install failed: ${rc}")
endif()

execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/readpoint -B ${WORK_DIR}/build
                        -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release ${sanitize_flags}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(rc)
  message(FATAL_ERROR "configuring against the installed package failed:\n${out}\n${err}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/build
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(rc)
  message(FATAL_ERROR "building against the installed package failed:\n${out}\n${err}")
endif()

set(ENV{DRAVO_SETTINGS} ${WORK_DIR}/servers.conf)
unset(ENV{DRAVO_SERVERS})
unset(ENV{DRAVO_DICTIONARY})
execute_process(COMMAND ${WORK_DIR}/build/readpoint ${prefix}/share/dravoplus/examples/plant.json "${POINT}"
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(rc)
  message(FATAL_ERROR "readpoint failed (${rc}):\n${out}\n${err}")
endif()
message(STATUS "${out}")
