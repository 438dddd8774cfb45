# Makes of an installed tree what a Debian package has: no search paths in programs, as the system
# finds the libraries; a changelog; what lintian is to pass over; compressed manual pages.
set(usr ${CPACK_TEMPORARY_DIRECTORY}/usr)

file(GLOB_RECURSE programs ${usr}/bin/* ${usr}/sbin/* ${usr}/lib/*.so*)
foreach(program ${programs})
  if(NOT IS_SYMLINK ${program} AND NOT program MATCHES "\\.sh$")
    file(RPATH_REMOVE FILE ${program})
  endif()
endforeach()

configure_file(${CPACK_KIV_DEBIAN_DIR}/changelog ${usr}/share/doc/libkiv/changelog COPYONLY)
configure_file(${CPACK_KIV_DEBIAN_DIR}/lintian-overrides ${usr}/share/lintian/overrides/libkiv
  COPYONLY)
file(GLOB_RECURSE texts ${usr}/share/man/* ${usr}/share/doc/libkiv/changelog)
execute_process(COMMAND gzip -9n ${texts} COMMAND_ERROR_IS_FATAL ANY)
