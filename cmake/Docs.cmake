# The API reference (`make docs`): HTML made by Doxygen from the public
# headers of MVShared, MVPlant, DravoPlus and QsLogging, their comments being
# the text, with the README as the main page and docs/middleware.md beside
# it. Any Doxygen warning fails the build of the reference (and its test,
# tests/docs).
find_package(Doxygen QUIET)

set(MV_DOCS_DIR ${PROJECT_BINARY_DIR}/docs)
set(MV_DOXYFILE ${MV_DOCS_DIR}/Doxyfile)
# The main page: the README's overview (its title, introduction and first
# section), then docs/reference.md, the way into the reference. Made again
# whenever either changes.
set(MV_DOCS_MAINPAGE ${MV_DOCS_DIR}/mainpage.md)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/docs/reference.md)
file(READ ${PROJECT_SOURCE_DIR}/README.md readme)
string(FIND "${readme}" "\n## " first_section)
set(overview "${readme}")
if(first_section GREATER -1)
  math(EXPR after_first "${first_section} + 4")
  string(SUBSTRING "${readme}" ${after_first} -1 rest)
  string(FIND "${rest}" "\n## " second_section)
  if(second_section GREATER -1)
    math(EXPR overview_end "${after_first} + ${second_section} + 1")
    string(SUBSTRING "${readme}" 0 ${overview_end} overview)
  endif()
endif()
file(READ ${PROJECT_SOURCE_DIR}/docs/reference.md reference_guide)
file(CONFIGURE OUTPUT ${MV_DOCS_MAINPAGE} CONTENT "${overview}\n${reference_guide}" @ONLY)

# The main page, the pages of docs/ and the folders of the public headers.
set(MV_DOCS_INPUT
  "${MV_DOCS_MAINPAGE}"
  "${PROJECT_SOURCE_DIR}/docs/middleware.md"
  "${PROJECT_SOURCE_DIR}/mvshared/include/MVShared"
  "${PROJECT_SOURCE_DIR}/plant/include/MVPlant"
  "${PROJECT_SOURCE_DIR}/dravoplus/include/DravoPlus"
  "${PROJECT_SOURCE_DIR}/qslogging/include/QsLog")
list(JOIN MV_DOCS_INPUT "\" \\\n  \"" MV_DOCS_INPUT_LIST)
set(MV_DOCS_INPUT_LIST "\"${MV_DOCS_INPUT_LIST}\"")
# The filter that makes the headers' plain comments documentation; run by
# its own #! line where CMake found no Python interpreter.
find_package(Python3 QUIET COMPONENTS Interpreter)
set(MV_DOCS_FILTER "${PROJECT_SOURCE_DIR}/docs/headercomments.py")
if(Python3_Interpreter_FOUND)
  set(MV_DOCS_FILTER "${Python3_EXECUTABLE} ${MV_DOCS_FILTER}")
endif()
configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${MV_DOXYFILE} @ONLY)

if(DOXYGEN_FOUND)
  add_custom_target(docs
    COMMAND ${CMAKE_COMMAND} -E make_directory ${MV_DOCS_DIR}
    COMMAND ${DOXYGEN_EXECUTABLE} ${MV_DOXYFILE}
    WORKING_DIRECTORY ${MV_DOCS_DIR}
    COMMENT "Making the API reference in ${MV_DOCS_DIR}/html"
    VERBATIM)
endif()
