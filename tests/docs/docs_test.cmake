# Runs Doxygen with the reference's own configuration (the Doxyfile that
# `make docs` uses), its output and warning log moved into WORK_DIR, and
# fails on any warning; then checks that the pages a reader starts from are
# there: the main page, the middleware page and the classes of each library.
#
# Expects: DOXYFILE, WORK_DIR. Prints "API reference test skipped" when
# doxygen is missing.
find_program(DOXYGEN doxygen)
if(NOT DOXYGEN)
  message("API reference test skipped: doxygen is not installed")
  return()
endif()

cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
file(READ ${DOXYFILE} config)
string(APPEND config "\nOUTPUT_DIRECTORY = \"${WORK_DIR}\"\nWARN_LOGFILE = \"${WORK_DIR}/warnings.log\"\n")
file(WRITE ${WORK_DIR}/Doxyfile "${config}")

execute_process(COMMAND ${DOXYGEN} ${WORK_DIR}/Doxyfile WORKING_DIRECTORY ${WORK_DIR}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
set(warnings "")
if(EXISTS ${WORK_DIR}/warnings.log)
  file(READ ${WORK_DIR}/warnings.log warnings)
endif()
if(NOT rc EQUAL 0 OR NOT warnings STREQUAL "")
  message(FATAL_ERROR "doxygen (${rc}) warned:\n${warnings}\n${out}\n${err}")
endif()

foreach(page index.html middleware.html classScadaRuntimeInterface.html classMorvaneChangeEvent.html
             classDravoData.html DravoPlus_8h.html Plant_8h.html classQsLogging_1_1Logger.html)
  if(NOT EXISTS ${WORK_DIR}/html/${page})
    message(FATAL_ERROR "the reference has no ${page}")
  endif()
endforeach()
file(READ ${WORK_DIR}/html/index.html main_page)
if(NOT main_page MATCHES "The shared client library of a SCADA operator product")
  message(FATAL_ERROR "the main page is not the README's overview")
endif()
message(STATUS "API reference built without warnings")
