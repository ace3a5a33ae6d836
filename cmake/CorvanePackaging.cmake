# Installation and the Debian package: the app, the simulator its --demo mode runs, and with the
# desktop shell a launcher entry and the icon, drawn from the same vector data as the tray icon.
include(GNUInstallDirs)

# On Apple corvane-menubar is Corvane.app, which goes to Applications under the prefix
# (`--prefix ~` for ~/Applications).
if(TARGET corvane-menubar)
  install(TARGETS corvane-menubar RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} BUNDLE DESTINATION Applications)
endif()
if(TARGET corvane-sim)
  install(TARGETS corvane-sim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

if(CORVANE_BUILD_QT)
  set(corvane_packaging ${PROJECT_SOURCE_DIR}/CorvaneMenubar/platform/qt/packaging)
  configure_file(${corvane_packaging}/com.usecorvane.Menubar.desktop
                 ${PROJECT_BINARY_DIR}/packaging/com.usecorvane.Menubar.desktop COPYONLY)
  install(FILES ${PROJECT_BINARY_DIR}/packaging/com.usecorvane.Menubar.desktop
          DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)

  add_executable(corvane-icon-svg ${corvane_packaging}/WriteIconSvg.cpp)
  corvane_target_defaults(corvane-icon-svg)
  target_link_libraries(corvane-icon-svg PRIVATE CorvaneMenubarApp)
  add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/packaging/corvane-menubar.svg
                     COMMAND corvane-icon-svg ${PROJECT_BINARY_DIR}/packaging/corvane-menubar.svg
                     DEPENDS corvane-icon-svg VERBATIM)
  add_custom_target(corvane-icon ALL DEPENDS ${PROJECT_BINARY_DIR}/packaging/corvane-menubar.svg)
  install(FILES ${PROJECT_BINARY_DIR}/packaging/corvane-menubar.svg
          DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)

  find_program(CORVANE_DESKTOP_FILE_VALIDATE desktop-file-validate)
  if(CORVANE_BUILD_TESTS AND CORVANE_DESKTOP_FILE_VALIDATE)
    add_test(NAME DesktopEntryIsValid
             COMMAND ${CORVANE_DESKTOP_FILE_VALIDATE} ${PROJECT_BINARY_DIR}/packaging/com.usecorvane.Menubar.desktop)
    set_tests_properties(DesktopEntryIsValid PROPERTIES LABELS qt)
  endif()
endif()

set(CPACK_PACKAGE_NAME corvane-menubar)
set(CPACK_PACKAGE_VENDOR "Corvane")
set(CPACK_PACKAGE_CONTACT "Corvane <support@usecorvane.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Your coding-agent sessions in the panel")
set(CPACK_PACKAGE_DESCRIPTION
    "A tray app for the Corvane CLI: it shows the AI coding-agent sessions the CLI knows about and the actions it offers. With --demo it runs on the bundled simulator.")
set(CPACK_PACKAGE_INSTALL_DIRECTORY corvane-menubar)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "x-terminal-emulator")
# The panel's tray on GNOME; Qt's native Wayland platform (XWayland serves without it).
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "gnome-shell-extension-appindicator, qt6-wayland")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://usecorvane.com")
include(CPack)
