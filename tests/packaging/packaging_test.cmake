# The Debian packages of this build, made with CPack the way `make package`
# makes them, unpacked with dpkg-deb into a scratch root and used from there
# only:
#
# - their control fields: names, version, the Qt, hiredis and Python runtime
#   packages among the dependencies (worked out by dpkg-shlibdeps), the -dev
#   package on the runtime of its own version, the tools on the runtime;
# - their contents: every file an install of the build makes is in exactly
#   one package, and in the right one (versioned libraries and the dictionary
#   in the runtime, headers, CMake and pkg-config files and the unversioned
#   links in -dev, programs in the tools);
# - an installed program runs from the unpacked tree with nothing but its own
#   run-time path (dravo loads the sample plant and reads a point);
# - the readpoint example, copied out of the source tree, builds against the
#   unpacked tree once with find_package(MVShared) and once with pkg-config
#   (PKG_CONFIG_PATH and PKG_CONFIG_SYSROOT_DIR into the root), neither build
#   seeing the source or build tree, and each program runs on the embedded
#   server with the libraries and the data dictionary of the root.
#
# Expects: CPACK (the cpack of this CMake), BUILD_DIR, SOURCE_DIR, WORK_DIR,
# MAJOR (the soname version), POINT (a status point of the sample plant),
# TOOLS (whether the programs were built), SANITIZE (the
# sanitizers the libraries were built with; programs using them need them
# too). Prints "Packaging test skipped" when dpkg-deb is missing.

cmake_minimum_required(VERSION 3.25)

find_program(DPKG_DEB dpkg-deb)
if(NOT DPKG_DEB)
  message("Packaging test skipped: dpkg-deb is not installed")
  return()
endif()
find_program(PKG_CONFIG pkg-config REQUIRED)
find_program(LDD ldd REQUIRED)
find_program(READELF readelf REQUIRED)
find_program(CXX_COMPILER NAMES c++ g++ REQUIRED)

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(root ${WORK_DIR}/root)

function(run)
  cmake_parse_arguments(R "" "WHAT;OUT;DIR" "COMMAND" ${ARGN})
  if(NOT R_DIR)
    set(R_DIR ${WORK_DIR})
  endif()
  execute_process(COMMAND ${R_COMMAND} WORKING_DIRECTORY ${R_DIR}
                  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${R_WHAT} failed (${rc}):\n${out}\n${err}")
  endif()
  if(R_OUT)
    set(${R_OUT} "${out}" PARENT_SCOPE)
  endif()
endfunction()

# text as a regular expression that matches it literally.
function(literal_pattern text out)
  string(REGEX REPLACE "([][.*+?^$()|\\])" "\\\\\\1" escaped "${text}")
  set(${out} "${escaped}" PARENT_SCOPE)
endfunction()
literal_pattern("${root}" root_pattern)
literal_pattern("${POINT}" point_pattern)
set(runtime libmvshared${MAJOR})

# Every file (and link) under dir, relative to it.
function(files_under dir out)
  file(GLOB_RECURSE found LIST_DIRECTORIES false RELATIVE ${dir} ${dir}/*)
  list(SORT found)
  set(${out} "${found}" PARENT_SCOPE)
endfunction()

# ---- The packages -----------------------------------------------------------

run(WHAT "cpack" COMMAND ${CPACK} --config ${BUILD_DIR}/CPackConfig.cmake -B ${WORK_DIR}/packages)
file(GLOB debs ${WORK_DIR}/packages/*.deb)

set(expected_packages ${runtime} libmvshared-dev mvshared-tools)
set(found_packages)
foreach(deb IN LISTS debs)
  run(WHAT "dpkg-deb -f ${deb}" OUT name COMMAND ${DPKG_DEB} -f ${deb} Package)
  string(STRIP "${name}" name)
  list(APPEND found_packages ${name})
  set(deb_${name} ${deb})
  foreach(field Version Depends Architecture Section Description)
    run(WHAT "dpkg-deb -f ${deb} ${field}" OUT value COMMAND ${DPKG_DEB} -f ${deb} ${field})
    string(STRIP "${value}" value)
    set(${name}_${field} "${value}")
  endforeach()
endforeach()
list(SORT found_packages)
set(sorted_expected ${expected_packages})
list(SORT sorted_expected)
if(NOT found_packages STREQUAL sorted_expected)
  message(FATAL_ERROR "packages made: '${found_packages}', expected: '${sorted_expected}'")
endif()

set(version ${${runtime}_Version})
if(NOT version MATCHES "^[0-9]+\\.[0-9]+\\.[0-9]+-[0-9]+$")
  message(FATAL_ERROR "runtime package version '${version}' is not <upstream>-<release>")
endif()
foreach(name IN LISTS expected_packages)
  if(NOT ${name}_Version STREQUAL version)
    message(FATAL_ERROR "${name} has version '${${name}_Version}', the runtime '${version}'")
  endif()
endforeach()
foreach(dependency libqt5core5a libqt5gui5 libqt5widgets5 libqt5network5 "libhiredis[0-9.]+" "libpython3\\.[0-9]+" "libdeflate[0-9]+")
  if(NOT ${runtime}_Depends MATCHES "(^|, )${dependency} ")
    message(FATAL_ERROR "${runtime} does not depend on ${dependency}: ${${runtime}_Depends}")
  endif()
endforeach()
literal_pattern("${version}" version_pattern)
if(NOT libmvshared-dev_Depends MATCHES "(^|, )${runtime} \\(= ${version_pattern}\\)")
  message(FATAL_ERROR "libmvshared-dev does not depend on ${runtime} (= ${version}): ${libmvshared-dev_Depends}")
endif()
if(NOT mvshared-tools_Depends MATCHES "(^|, )${runtime} \\(= ${version_pattern}\\)")
  message(FATAL_ERROR "mvshared-tools does not depend on ${runtime} (= ${version}): ${mvshared-tools_Depends}")
endif()
if(TOOLS AND NOT mvshared-tools_Depends MATCHES "(^|, )libqt5widgets5 ")
  message(FATAL_ERROR "mvshared-tools does not depend on Qt's widgets: ${mvshared-tools_Depends}")
endif()
message(STATUS "${runtime} ${version} Depends: ${${runtime}_Depends}")
message(STATUS "libmvshared-dev Depends: ${libmvshared-dev_Depends}")
message(STATUS "mvshared-tools Depends: ${mvshared-tools_Depends}")

# ---- Contents: everything installed, each file in one package, the right one -

foreach(name IN LISTS expected_packages)
  file(MAKE_DIRECTORY ${WORK_DIR}/unpacked/${name} ${root})
  run(WHAT "dpkg-deb -x ${name}" COMMAND ${DPKG_DEB} -x ${deb_${name}} ${WORK_DIR}/unpacked/${name})
  run(WHAT "dpkg-deb -x ${name} into the root" COMMAND ${DPKG_DEB} -x ${deb_${name}} ${root})
  files_under(${WORK_DIR}/unpacked/${name} ${name}_files)
endforeach()

# What an install of the build makes, every component, under /usr.
set(ENV{DESTDIR} ${WORK_DIR}/installed)
run(WHAT "cmake --install" COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix /usr)
unset(ENV{DESTDIR})
files_under(${WORK_DIR}/installed installed_files)

set(packaged)
foreach(name IN LISTS expected_packages)
  foreach(file IN LISTS ${name}_files)
    if(file IN_LIST packaged)
      message(FATAL_ERROR "${file} is in two packages (one of them ${name})")
    endif()
    list(APPEND packaged ${file})
    set(owner_${file} ${name})
  endforeach()
endforeach()
foreach(file IN LISTS installed_files)
  if(NOT file IN_LIST packaged)
    message(FATAL_ERROR "${file} is installed but in no package: give its install rule a COMPONENT "
                        "(Runtime, Development or Tools)")
  endif()
endforeach()
foreach(file IN LISTS packaged)
  if(NOT file IN_LIST installed_files)
    message(FATAL_ERROR "${file} is packaged but not installed")
  endif()
endforeach()

list(LENGTH installed_files installed_count)
message(STATUS "${installed_count} installed files, each in exactly one package")

function(expect_owner file package)
  if(NOT DEFINED owner_${file})
    message(FATAL_ERROR "${file} is in no package (expected in ${package})")
  endif()
  if(NOT owner_${file} STREQUAL package)
    message(FATAL_ERROR "${file} is in ${owner_${file}}, expected in ${package}")
  endif()
endfunction()

foreach(file IN LISTS packaged)
  if(file MATCHES "^usr/lib/[^/]+\\.so\\.[0-9]")
    expect_owner(${file} ${runtime})
  elseif(file MATCHES "^usr/lib/[^/]+\\.so$" OR file MATCHES "^usr/include/"
         OR file MATCHES "^usr/lib/cmake/" OR file MATCHES "^usr/lib/pkgconfig/")
    expect_owner(${file} libmvshared-dev)
  elseif(file MATCHES "^usr/bin/")
    expect_owner(${file} mvshared-tools)
  endif()
endforeach()
foreach(library MVShared DravoPlus MVPlant QsLogging)
  expect_owner(usr/lib/lib${library}.so.${MAJOR} ${runtime})
  expect_owner(usr/lib/lib${library}.so libmvshared-dev)
  run(WHAT "readelf -d lib${library}" OUT dynamic COMMAND ${READELF} -d ${root}/usr/lib/lib${library}.so.${MAJOR})
  if(NOT dynamic MATCHES "Library soname: \\[lib${library}\\.so\\.${MAJOR}\\]")
    message(FATAL_ERROR "lib${library}.so.${MAJOR} does not carry the soname lib${library}.so.${MAJOR}")
  endif()
endforeach()
expect_owner(usr/share/dravoplus/dictionary.json ${runtime})
expect_owner(usr/lib/cmake/MVShared/MVSharedConfig.cmake libmvshared-dev)
expect_owner(usr/lib/pkgconfig/mvshared.pc libmvshared-dev)
expect_owner(usr/include/MVShared/MVShared.h libmvshared-dev)
expect_owner(usr/share/dravoplus/examples/plant.json mvshared-tools)
if(TOOLS)
  foreach(tool mvsim mvconsole dravo mvbench plantgen)
    expect_owner(usr/bin/${tool} mvshared-tools)
  endforeach()
endif()

# The pkg-config files name the packages' prefix.
file(STRINGS ${root}/usr/lib/pkgconfig/mvshared.pc pc_prefix REGEX "^prefix=")
if(NOT pc_prefix STREQUAL "prefix=/usr")
  message(FATAL_ERROR "mvshared.pc in the package says '${pc_prefix}', not prefix=/usr")
endif()

# ---- Nothing of this machine's build in what the packages hold -------------

# A path of the source or build tree in a file of the root (a CMake file, a
# pkg-config file, a header) or in the dynamic section of a library or
# program (a run-time path) would make the packages work on this machine only.
literal_pattern("${BUILD_DIR}" build_pattern)
literal_pattern("${SOURCE_DIR}/" source_pattern)
set(trees_pattern "${build_pattern}|${source_pattern}")
foreach(file IN LISTS packaged)
  if(IS_SYMLINK ${root}/${file})
    continue()
  endif()
  file(READ ${root}/${file} magic LIMIT 4 HEX)
  if(magic STREQUAL "7f454c46")
    run(WHAT "readelf -d ${file}" OUT text COMMAND ${READELF} -d ${root}/${file})
    if(NOT text MATCHES "R(UN)?PATH.*\\[\\$ORIGIN/\\.\\./lib\\]" AND file MATCHES "^usr/bin/")
      message(FATAL_ERROR "${file} has no run-time path $ORIGIN/../lib:\n${text}")
    endif()
  else()
    file(READ ${root}/${file} text)
  endif()
  if(text MATCHES "${trees_pattern}")
    message(FATAL_ERROR "${file} names the build or source tree: ${CMAKE_MATCH_0}")
  endif()
endforeach()

set(ENV{DRAVO_SETTINGS} ${WORK_DIR}/servers.conf)
unset(ENV{DRAVO_SERVERS})
unset(ENV{DRAVO_DICTIONARY})
unset(ENV{LD_LIBRARY_PATH})
if(TOOLS)
  # Its own run-time path ($ORIGIN/../lib) finds the libraries, and the
  # library the dictionary beside itself.
  file(WRITE ${WORK_DIR}/dravo-session.txt "load ${root}/usr/share/dravoplus/examples/plant.json\nget ${POINT}\n")
  execute_process(COMMAND ${root}/usr/bin/dravo --servers embedded
                  INPUT_FILE ${WORK_DIR}/dravo-session.txt
                  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0 OR NOT out MATCHES "loaded [0-9]+ stations" OR NOT out MATCHES "${point_pattern} \\(NAMEINDEX")
    message(FATAL_ERROR "dravo from the unpacked package failed (${rc}):\n${out}\n${err}")
  endif()
endif()

# ---- readpoint against the root, built two ways ----------------------------

set(example ${WORK_DIR}/readpoint-src)
file(COPY ${SOURCE_DIR}/examples/readpoint/CMakeLists.txt ${SOURCE_DIR}/examples/readpoint/main.cpp
     DESTINATION ${example})

# A build's files (commands, dependency lists, caches) may name the root, the
# copied example and the system; never the source or build tree.
function(check_sees_root_only dir)
  file(GLOB_RECURSE build_files LIST_DIRECTORIES false ${dir}/*)
  foreach(file IN LISTS build_files)
    if(file MATCHES "\\.(txt|json|cmake|make|d|ninja|pc)$" OR file MATCHES "/link\\.txt$")
      file(READ ${file} text)
      string(REPLACE "${WORK_DIR}" "<scratch>" text "${text}")
      foreach(tree ${BUILD_DIR} ${SOURCE_DIR})
        string(FIND "${text}" "${tree}" at)
        if(NOT at EQUAL -1)
          math(EXPR from "${at} - 60")
          if(from LESS 0)
            set(from 0)
          endif()
          string(SUBSTRING "${text}" ${from} 200 context)
          message(FATAL_ERROR "${file} names ${tree}:\n...${context}...")
        endif()
      endforeach()
    endif()
  endforeach()
endfunction()

function(run_readpoint program)
  set(ENV{LD_LIBRARY_PATH} ${root}/usr/lib)
  run(WHAT "ldd ${program}" OUT libraries COMMAND ${LDD} ${program})
  foreach(library MVShared DravoPlus MVPlant QsLogging)
    if(NOT libraries MATCHES "lib${library}\\.so\\.[0-9]+ => ${root_pattern}/usr/lib/lib${library}\\.so")
      message(FATAL_ERROR "${program} does not load lib${library} from the root:\n${libraries}")
    endif()
  endforeach()
  run(WHAT "${program}" OUT out
      COMMAND ${program} ${root}/usr/share/dravoplus/examples/plant.json ${POINT})
  unset(ENV{LD_LIBRARY_PATH})
  if(NOT out MATCHES "^MVShared [0-9.]+\n${point_pattern} id [0-9]+ record STATUS[0-9]+ type STATUS state [0-9-]+\n$")
    message(FATAL_ERROR "${program} printed:\n${out}")
  endif()
  message(STATUS "${program}:\n${out}")
endfunction()

set(flags)
if(SANITIZE)
  set(flags -fsanitize=${SANITIZE})
endif()

# With the CMake package: the root's prefix only, no package registry.
set(cmake_build ${WORK_DIR}/readpoint-cmake)
run(WHAT "configuring readpoint with find_package(MVShared)"
    COMMAND ${CMAKE_COMMAND} -S ${example} -B ${cmake_build}
            -DCMAKE_PREFIX_PATH=${root}/usr -DCMAKE_BUILD_TYPE=Release
            -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF
            -DCMAKE_EXPORT_COMPILE_COMMANDS=ON "-DCMAKE_CXX_FLAGS=${flags}" "-DCMAKE_EXE_LINKER_FLAGS=${flags}")
file(STRINGS ${cmake_build}/CMakeCache.txt package_dir REGEX "^MVShared_DIR:")
if(NOT package_dir STREQUAL "MVShared_DIR:PATH=${root}/usr/lib/cmake/MVShared")
  message(FATAL_ERROR "find_package(MVShared) found '${package_dir}', not the root's")
endif()
run(WHAT "building readpoint with find_package(MVShared)" COMMAND ${CMAKE_COMMAND} --build ${cmake_build})
check_sees_root_only(${cmake_build})
run_readpoint(${cmake_build}/readpoint)

# With pkg-config: the root is the system root for pkg-config, so the -I and
# -L of the packages' files (prefix=/usr) land in it. Qt's own files are the
# machine's: the root gets a link to Qt's headers where its .pc file says.
set(ENV{PKG_CONFIG_PATH} ${root}/usr/lib/pkgconfig)
run(WHAT "pkg-config Qt5Core" OUT qt_includedir COMMAND ${PKG_CONFIG} --variable=includedir Qt5Core)
string(STRIP "${qt_includedir}" qt_includedir)
get_filename_component(qt_parent ${root}${qt_includedir} DIRECTORY)
file(MAKE_DIRECTORY ${qt_parent})
file(CREATE_LINK ${qt_includedir} ${root}${qt_includedir} SYMBOLIC)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${root})
run(WHAT "pkg-config mvshared mvplant" OUT pc_flags COMMAND ${PKG_CONFIG} --cflags --libs mvshared mvplant)
unset(ENV{PKG_CONFIG_SYSROOT_DIR})
unset(ENV{PKG_CONFIG_PATH})
string(STRIP "${pc_flags}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
if(NOT "-I${root}/usr/include" IN_LIST pc_flags OR NOT "-L${root}/usr/lib" IN_LIST pc_flags)
  message(FATAL_ERROR "pkg-config does not point into the root: ${pc_flags}")
endif()
set(pc_build ${WORK_DIR}/readpoint-pkgconfig)
file(MAKE_DIRECTORY ${pc_build})
set(pc_command ${CXX_COMPILER} -std=c++17 -fPIC ${flags} -MD -MF ${pc_build}/readpoint.d
    ${example}/main.cpp ${pc_flags} -o ${pc_build}/readpoint)
string(JOIN " " pc_command_text ${pc_command})
file(WRITE ${pc_build}/command.txt "${pc_command_text}\n")
run(WHAT "building readpoint with pkg-config" DIR ${pc_build} COMMAND ${pc_command})
check_sees_root_only(${pc_build})
run_readpoint(${pc_build}/readpoint)

message(STATUS "packages, contents and both example builds checked")
