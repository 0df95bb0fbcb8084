# The Debian packages (`make package`, CPack's DEB generator), split the
# Debian way by install component:
#
#   libmvshared<major>  Runtime      the shared libraries (libMVShared.so.1 ...),
#                                    the data dictionary and whatever else the
#                                    libraries read at run time
#   libmvshared-dev     Development  headers, the CMake package, pkg-config
#                                    files and the unversioned library links
#   mvshared-tools      Tools        mvsim, mvconsole, dravo, mvbench, plantgen,
#                                    the sample plant and the Redis roles
#
# dpkg-shlibdeps works out what the libraries and programs need of the
# system (Qt, hiredis, Python, zlib, ...); the -dev package needs the runtime
# of exactly its own version, the tools need the runtime. Files are
# stripped: a package carries no build paths and no debug information.
set(MV_DEB_RELEASE 1)
set(MV_DEB_VERSION ${PROJECT_VERSION}-${MV_DEB_RELEASE})
set(MV_DEB_RUNTIME libmvshared${PROJECT_VERSION_MAJOR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME mvshared)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "MVShared developers")
set(CPACK_PACKAGE_CONTACT "MVShared developers <mvshared@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "SCADA operator client library and its middleware client")
# Installed into a staging DESTDIR with the packages' own prefix, /usr, as
# the install prefix: the pkg-config files, written at install time, name it.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)

set(CPACK_DEB_COMPONENT_INSTALL ON)
# Tools stays a package without the programs (MV_BUILD_TOOLS=OFF): the
# sample plant and the Redis roles are still in it.
set(CPACK_COMPONENTS_ALL Runtime Development Tools)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${MV_DEB_RELEASE})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Our own libraries, which the tools link, are found in the runtime
# package's staging tree rather than on the system.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${MV_DEB_RUNTIME})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
# The dynamic linker's cache is brought up to date once dpkg is done.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
"SCADA operator client library (shared libraries)
The shared client library of a SCADA operator product (MVShared), the
middleware client it talks through (DravoPlus) with its data dictionary,
the plant file library (MVPlant) and the logging core (QsLogging).")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libmvshared-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# What the installed headers and the CMake package need: Qt's development
# files, Boost.Signals2 (MorvaneChangeEvent.h) and rapidjson (JsonText.h).
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${MV_DEB_RUNTIME} (= ${MV_DEB_VERSION}), qtbase5-dev, libboost-dev, rapidjson-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"SCADA operator client library (development files)
Headers of MVShared, DravoPlus, MVPlant and QsLogging, the CMake package
(find_package(MVShared)) and the pkg-config files mvshared, dravoplus and
mvplant.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME mvshared-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${MV_DEB_RUNTIME} (= ${MV_DEB_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
"SCADA operator client library (tools)
mvsim, the plant simulator; mvconsole, an operator console; dravo, the
middleware inspector; mvbench, the benchmarks; plantgen, made-up plant
files. With the sample plant and the Redis users of a plant's roles.")

include(CPack)
