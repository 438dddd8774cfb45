# "cpack" in the build folder makes a Debian package, with the places that the switch has fixed.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libkiv)
set(CPACK_PACKAGE_CONTACT "libkiv maintainers <libkiv@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "shell support of a storage-network switch")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Runs commands of the switch's shell for programs, keeps and compares the
running configuration, compiles and merges command trees. With the shell, its
daemon, the module of virtual SANs, headers and manual pages.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
if(CMAKE_CROSSCOMPILING)
  # The libraries here are those of the cross compiler's packages, which no switch has.
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
endif()
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA conffiles triggers postinst prerm postrm)
list(TRANSFORM CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA PREPEND ${PROJECT_SOURCE_DIR}/cmake/debian/)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)

# Absolute destinations are below a folder of CPack's own.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_CMAKE_PROJECTS
  "${PROJECT_BINARY_DIR};libkiv;ALL;/"
  "${PROJECT_BINARY_DIR};libkiv;switch;/")
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/prepare.cmake)
set(CPACK_KIV_DEBIAN_DIR ${PROJECT_SOURCE_DIR}/cmake/debian)
include(CPack)
