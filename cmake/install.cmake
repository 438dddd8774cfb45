# What "cmake --install" puts where, and how other projects find it: as the CMake package "kiv", and
# by pkg-config. What the switch has at fixed places is the component "switch", which is only
# installed where it is asked for.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kiv)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(data_dir ${CMAKE_INSTALL_DATADIR}/kiv)
set(generated_dir ${PROJECT_BINARY_DIR}/package)

# Libraries and headers.
set_target_properties(kiv_module PROPERTIES EXPORT_NAME module)
install(TARGETS kiv kivplatform kiv_module EXPORT kivTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
foreach(source libkiv platform lab/module)
  install(DIRECTORY ${source}/include/ TYPE INCLUDE)
endforeach()

install(EXPORT kivTargets NAMESPACE kiv:: DESTINATION ${package_dir})
configure_package_config_file(cmake/kivConfig.cmake.in ${generated_dir}/kivConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${generated_dir}/kivConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${generated_dir}/kivConfig.cmake ${generated_dir}/kivConfigVersion.cmake
  DESTINATION ${package_dir})

# pkg-config finds the prefix from where the file is, so that an installed tree can be moved.
file(RELATIVE_PATH KIV_PREFIX_FROM_PKGCONFIG /prefix/${pkgconfig_dir} /prefix)
foreach(name kiv kivplatform kivmodule)
  configure_file(cmake/${name}.pc.in ${generated_dir}/${name}.pc @ONLY)
  install(FILES ${generated_dir}/${name}.pc DESTINATION ${pkgconfig_dir})
endforeach()

# Programs, and what they read.
function(install_programs folder)
  file(RELATIVE_PATH libraries /prefix/${folder} /prefix/${CMAKE_INSTALL_LIBDIR})
  set_target_properties(${ARGN} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
  install(TARGETS ${ARGN} RUNTIME DESTINATION ${folder})
endfunction()
install_programs(${CMAKE_INSTALL_BINDIR} kivctl kiv_shell)
install_programs(${CMAKE_INSTALL_SBINDIR} kivd kiv_vsan_module)
set(trees kiv.par main_tree.par vsan.par)
list(TRANSFORM trees PREPEND ${PROJECT_BINARY_DIR}/share/)
install(FILES ${trees} DESTINATION ${data_dir})
install(DIRECTORY lab/grammar/ lab/vsan_module/
  DESTINATION ${data_dir}/grammar FILES_MATCHING PATTERN "*.grammar")
install(FILES tools/kivctl/completion.bash
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME kivctl)
install(FILES README.md TYPE DOC)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.md"
  PATTERN man EXCLUDE PATTERN abi EXCLUDE PATTERN reference EXCLUDE)
# The sample module to copy from, where the links of the documents lead to.
install(DIRECTORY lab/vsan_module DESTINATION ${CMAKE_INSTALL_DOCDIR}/lab
  FILES_MATCHING REGEX "\\.(c|h|grammar)$")

# The units name the programs where they are installed.
foreach(unit kivd/kivd vsan_module/kiv-vsan)
  install(CODE "
    set(unit \"${PROJECT_SOURCE_DIR}/lab/${unit}.service\")
    set(programs \"${CMAKE_INSTALL_SBINDIR}\")
    include(\"${PROJECT_SOURCE_DIR}/cmake/unit.cmake\")")
endforeach()

# The places that the library, the shell and the daemon have for each other.
set(switch COMPONENT switch EXCLUDE_FROM_ALL)
install(PROGRAMS lab/kivScript.sh DESTINATION /usr/sbin ${switch})
install(FILES ${trees} DESTINATION /ubex/etc/par ${switch})
install(CODE "
  file(RELATIVE_PATH shell /usr/sbin \${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/kiv)
  file(MAKE_DIRECTORY \$ENV{DESTDIR}/usr/sbin \$ENV{DESTDIR}/lc/ubexboot/bin)
  file(CREATE_LINK \${shell} \$ENV{DESTDIR}/usr/sbin/kiv.bin SYMBOLIC)
  file(CREATE_LINK /usr/sbin/kiv.bin \$ENV{DESTDIR}/lc/ubexboot/bin/kivboot SYMBOLIC)" ${switch})
