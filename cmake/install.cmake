# Installs everything. DESTDIR and the directories of GNUInstallDirs are honoured.
include(GNUInstallDirs)

set(KOVO_UNIT_DIR lib/systemd/system CACHE STRING "Directory of the systemd unit; empty: none")
set(KOVO_TMPFILES_DIR lib/tmpfiles.d CACHE STRING "Directory of the systemd-tmpfiles rule; empty: none")
set(KOVO_INIT_SCRIPT init.d/kovotcp CACHE STRING "Init script, in the configuration directory; empty: none")

install(TARGETS kovotcp RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})
install(PROGRAMS packaging/kovotcp-prepare RENAME prepare DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/kovotcp)
configure_file(packaging/kovotcp-health.in kovotcp-health @ONLY)
configure_file(packaging/kovotcp-processes.in kovotcp-processes @ONLY)
install(PROGRAMS ${CMAKE_CURRENT_BINARY_DIR}/kovotcp-health DESTINATION ${CMAKE_INSTALL_SBINDIR})
install(PROGRAMS ${CMAKE_CURRENT_BINARY_DIR}/kovotcp-processes RENAME processes
  DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/kovotcp)
install(FILES packaging/man/kovotcp.8 packaging/man/kovotcp-health.8
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
install(FILES packaging/man/kovo.txt.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5)
install(FILES packaging/kovotcp.logrotate RENAME kovotcp
  DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/logrotate.d)
install(FILES packaging/kovotcp.default RENAME kovotcp
  DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/default)
install(FILES docs/examples/kovo.txt DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
foreach(name inittab kovotcp-health.service kovotcp.procd ordinary-user.conf)
  configure_file(packaging/examples/${name}.in examples/${name} @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/examples/${name} DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
endforeach()
install(FILES docs/interfaces.md packaging/README.md COPYING DESTINATION ${CMAKE_INSTALL_DOCDIR})

if(KOVO_UNIT_DIR)
  configure_file(packaging/kovotcp.service.in kovotcp.service @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kovotcp.service DESTINATION ${KOVO_UNIT_DIR})
endif()
if(KOVO_TMPFILES_DIR)
  install(FILES packaging/kovotcp.tmpfiles RENAME kovotcp.conf DESTINATION ${KOVO_TMPFILES_DIR})
endif()
if(KOVO_INIT_SCRIPT)
  configure_file(packaging/kovotcp.init.in kovotcp.init @ONLY)
  cmake_path(ABSOLUTE_PATH KOVO_INIT_SCRIPT BASE_DIRECTORY ${CMAKE_INSTALL_FULL_SYSCONFDIR}
    OUTPUT_VARIABLE script)
  cmake_path(GET script PARENT_PATH directory)
  cmake_path(GET script FILENAME name)
  install(PROGRAMS ${CMAKE_CURRENT_BINARY_DIR}/kovotcp.init RENAME ${name} DESTINATION ${directory})
endif()

if(TARGET kovocheck)
  install(TARGETS kovocheck RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES packaging/man/kovocheck.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES packaging/kovocheck-problem-matcher.json RENAME problem-matcher.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/kovocheck)
endif()
