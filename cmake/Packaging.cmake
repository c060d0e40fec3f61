# Installation and the Debian package. The programs find Support/ and Help/
# beside themselves, so all three go into one folder with their data; /usr/bin
# holds links to them. Tests and benchmarks install nothing.

set(KESTRO_BIN_LINK_TARGET ../lib/kestro)
set(linkDir ${CMAKE_BINARY_DIR}/package-links)
file(MAKE_DIRECTORY ${linkDir})
foreach(program kestro kestro-cli kestro-boardsim)
  file(CREATE_LINK ${KESTRO_BIN_LINK_TARGET}/${program} ${linkDir}/${program} SYMBOLIC)
  install(FILES ${linkDir}/${program} DESTINATION ${CMAKE_INSTALL_BINDIR})
endforeach()

install(DIRECTORY Support Help DESTINATION ${KESTRO_INSTALL_DIR}
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
install(FILES packaging/kestro.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
# FTDI adapters at a 1 ms latency timer when plugged in (README: the link).
install(FILES packaging/60-kestro-ftdi-latency.rules DESTINATION lib/udev/rules.d)
# The monitor service, one instance per line (kestro-monitor@line3).
if(TARGET kestro_monitor)
  install(FILES packaging/kestro-monitor@.service DESTINATION lib/systemd/system)
  install(FILES packaging/monitor.conf.example DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
      ${CMAKE_SOURCE_DIR}/packaging/postinst ${CMAKE_SOURCE_DIR}/packaging/postrm)
endif()
install(FILES src/app/icons/kestro.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)

# Manual pages are kept as roff in doc/man and compressed here.
find_program(GZIP_EXECUTABLE gzip REQUIRED)
set(manPages)
foreach(program kestro kestro-cli kestro-boardsim)
  set(out ${CMAKE_BINARY_DIR}/man/${program}.1.gz)
  add_custom_command(
    OUTPUT ${out}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/man
    COMMAND ${GZIP_EXECUTABLE} -9n -c ${CMAKE_SOURCE_DIR}/doc/man/${program}.1 > ${out}
    DEPENDS ${CMAKE_SOURCE_DIR}/doc/man/${program}.1
    VERBATIM)
  list(APPEND manPages ${out})
endforeach()
set(changelog ${CMAKE_BINARY_DIR}/doc/changelog.Debian.gz)
add_custom_command(
  OUTPUT ${changelog}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/doc
  COMMAND ${GZIP_EXECUTABLE} -9n -c ${CMAKE_SOURCE_DIR}/packaging/changelog > ${changelog}
  DEPENDS ${CMAKE_SOURCE_DIR}/packaging/changelog
  VERBATIM)
add_custom_target(kestro_docs ALL DEPENDS ${manPages} ${changelog})
install(FILES ${manPages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES packaging/copyright ${changelog} DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kestro)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "KESTRO maintainers")
set(CPACK_PACKAGE_CONTACT "KESTRO maintainers <maintainers@users.noreply.c-seed-4d890ac1.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "set-up and monitoring utility for the T6800 station controller")
set(CPACK_PACKAGE_DESCRIPTION
    "KESTRO talks to the T6800 controller of a can decorator's blow-off and
colour-control station over RS-232: live machine data, set-up parameters,
shift counts, data files, reports, fault codes and program download.

The package holds the window program kestro, the command-line tool
kestro-cli with its line monitor for an MQTT broker (the systemd service
kestro-monitor@LINE) and the board simulator kestro-boardsim.")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The window program draws its icons through the SVG library and needs a
# platform plugin; neither shows up as a linked library of every program.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, libqt6sql6-sqlite, adduser")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-liberation")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
include(CPack)
