# A package for Debian, of all that is installed: cpack, in the build's folder. Its files lie in /usr,
# whatever the build's own prefix is.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME hoq)
set(CPACK_PACKAGE_CONTACT "the hoq developers <hoq@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "manages files here and on other nodes, for people and for scripts")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
# "file" tells the contents' types; "passwd" makes the account.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "file, passwd")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/postinst)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
