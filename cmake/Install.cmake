# What is installed, in three components: "daemon" (with its pages), "tools" (if they were built), and "layer" (the
# library, its headers, and what find_package and pkg-config need).
include(CMakePackageConfigHelpers)

# install_places(WHAT COMPONENT): a step of InstallPlaces.cmake
function(install_places what component)
  set(script ${PROJECT_SOURCE_DIR}/cmake/InstallPlaces.cmake)
  install(CODE "set(source [[${PROJECT_SOURCE_DIR}]])\nset(component ${what})\ninclude([[${script}]])"
          COMPONENT ${component})
endfunction()

set(PROGRAM_FOLDER lib/nimbolsp)  # the daemon's own: its files, or links to them, stand beside it
install(TARGETS nimbolsp RUNTIME DESTINATION ${PROGRAM_FOLDER} COMPONENT daemon)
# The pages keep their places among each other, so that their links resolve.
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT daemon)
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT daemon
        USE_SOURCE_PERMISSIONS PATTERN man EXCLUDE)
# Recipes for what stands around the daemon: whatever packaging/ has beside what is installed in its place.
install(DIRECTORY packaging DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT daemon USE_SOURCE_PERMISSIONS
        REGEX "/packaging/(completion|helpers|sbin|[^/]*\\.in|fonts\\.conf|nimboxi\\.ini)$" EXCLUDE)
install(FILES docs/man/nimbolsp.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT daemon)
install(FILES docs/man/nimbolsp.ini.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT daemon)
install_places(daemon daemon)
if(TARGET nimbolspctl)  # optional, so that a build of the daemon alone can be installed
  install(TARGETS nimbolspctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools OPTIONAL)
  install(FILES docs/man/nimbolspctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES packaging/completion/nimbolspctl
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  install_places(tools tools)
endif()

set(PACKAGE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/nimboxi)
set(PKGCONFIG_FOLDER ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(TARGETS nimboxi nimboxi_headers nimboxi_module_host EXPORT nimboxiTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT layer FILE_SET HEADERS COMPONENT layer)
install(EXPORT nimboxiTargets NAMESPACE nimboxi:: DESTINATION ${PACKAGE_FOLDER} COMPONENT layer)
configure_package_config_file(packaging/nimboxiConfig.cmake.in ${PROJECT_BINARY_DIR}/nimboxiConfig.cmake
                              INSTALL_DESTINATION ${PACKAGE_FOLDER})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/nimboxiConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/nimboxiConfig.cmake ${PROJECT_BINARY_DIR}/nimboxiConfigVersion.cmake
        DESTINATION ${PACKAGE_FOLDER} COMPONENT layer)

# The files of pkg-config find the rest from where they stand, so that the installed tree may be moved.
file(RELATIVE_PATH PKGCONFIG_TO_PREFIX /prefix/${PKGCONFIG_FOLDER} /prefix)
foreach(name nimboxi nimboxi-module-host)
  configure_file(packaging/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${PKGCONFIG_FOLDER} COMPONENT layer)
endforeach()
install_places(next daemon)
