# Brings the .ts files up to date with the texts in the sources:
#
#   cmake -DLUPDATE=/usr/bin/lupdate [-DTS_DIR=dir] -P translations/update.cmake
#
# (`make translations` runs it through the translations_update target.)
# New texts arrive as unfinished entries to translate; texts that left the
# code are dropped. TS_DIR defaults to this folder; the tests point it at a
# copy to check that the catalogues in the tree are already up to date.
include(${CMAKE_CURRENT_LIST_DIR}/catalogues.cmake)
get_filename_component(source_root ${CMAKE_CURRENT_LIST_DIR}/.. ABSOLUTE)

if(NOT LUPDATE)
  find_program(LUPDATE NAMES lupdate lupdate-qt5)
endif()
if(NOT LUPDATE OR NOT EXISTS "${LUPDATE}")
  message(FATAL_ERROR "lupdate not found (Debian package qttools5-dev-tools); give it with -DLUPDATE=<path>")
endif()
if(NOT TS_DIR)
  set(TS_DIR ${CMAKE_CURRENT_LIST_DIR})
endif()

foreach(catalogue IN LISTS MV_TRANSLATION_CATALOGUES)
  set(sources)
  foreach(folder IN LISTS MV_CATALOGUE_${catalogue}_SOURCES)
    list(APPEND sources ${source_root}/${folder})
  endforeach()
  set(ts_files)
  foreach(language IN LISTS MV_TRANSLATION_LANGUAGES)
    list(APPEND ts_files ${TS_DIR}/${catalogue}_${language}.ts)
  endforeach()
  execute_process(COMMAND ${LUPDATE} ${MV_LUPDATE_OPTIONS} ${sources} -ts ${ts_files}
                  RESULT_VARIABLE rc)
  if(rc)
    message(FATAL_ERROR "lupdate failed for the catalogue ${catalogue}: ${rc}")
  endif()
endforeach()
