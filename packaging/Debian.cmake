# The Debian package, made with CPack's DEB generator (scripts/package runs it in a build of its
# own). CPack packs what `cmake --install` installs, so the package and an install from source
# cannot drift apart; dpkg-shlibdeps works out the library dependencies from the binaries.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quorvane)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The Quorvane developers")
set(CPACK_PACKAGE_CONTACT "The Quorvane developers <maintainers@quorvane.io>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "password manager with enciphered documents")
set(CPACK_PACKAGE_DESCRIPTION "Quorvane keeps accounts, passwords, PINs, notes and e-mail addresses in
documents, each one file enciphered with its own master password. Several
documents can be open at once.

The package holds the desktop program, quorvane, and the qvane command,
which shows, converts, imports and exports documents from a terminal or a
script.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://quorvane.io/")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded at run time, so dpkg-shlibdeps cannot see them: the window system plug-ins, without
# which no window opens, and the icon theme that the icons are installed into.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, hicolor-icon-theme")
# Draws the SVG icons, the tray's symbolic one among them.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libqt6svg6, wl-clipboard")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
