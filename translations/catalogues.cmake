# The translation catalogues of the library and the programs, read by the
# build (translations/CMakeLists.txt) and by the update script (update.cmake)
# alike, so both agree on what a catalogue holds.
#
# A catalogue is one name (the .ts and .qm files are <name>_<language>), the
# source folders lupdate scans for it, and the install component its .qm
# files belong to.
set(MV_TRANSLATION_LANGUAGES de fr)
set(MV_TRANSLATION_CATALOGUES mvshared mvconsole)

set(MV_CATALOGUE_mvshared_SOURCES mvshared)
set(MV_CATALOGUE_mvshared_COMPONENT Runtime)

set(MV_CATALOGUE_mvconsole_SOURCES tools/mvconsole)
set(MV_CATALOGUE_mvconsole_COMPONENT Tools)

# No source locations in the .ts files: they change only when a text does,
# not whenever the code around a text moves. Texts that left the code leave
# the catalogue too.
set(MV_LUPDATE_OPTIONS -locations none -no-obsolete -no-ui-lines -source-language en)
