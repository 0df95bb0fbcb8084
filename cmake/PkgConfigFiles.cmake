# The pkg-config files (cmake/<name>.pc.in). Their prefix is the one the
# tree is installed under, which only the install step knows: a plain
# `cmake --install` uses the configured prefix, `--prefix` another, and the
# Debian packages /usr. So each file is written at install time, into the
# build tree (a folder per prefix, so that installs to several prefixes at
# once do not share a file), and installed from there with the Development
# component.
function(mv_install_pkgconfig)
  foreach(name IN LISTS ARGN)
    set(template ${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in)
    install(CODE "
      block()
        set(CMAKE_INSTALL_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
        set(CMAKE_INSTALL_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
        set(PROJECT_VERSION \"${PROJECT_VERSION}\")
        string(MD5 prefix_key \"\${CMAKE_INSTALL_PREFIX}\")
        set(staged \"${PROJECT_BINARY_DIR}/pkgconfig-install/\${prefix_key}/${name}.pc\")
        configure_file(\"${template}\" \"\${staged}\" @ONLY)
        file(INSTALL DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig\"
             TYPE FILE FILES \"\${staged}\")
      endblock()"
      COMPONENT Development)
  endforeach()
endfunction()
