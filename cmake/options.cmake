# Settings of every target.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

# Installed programs and libraries find each other wherever the prefix is moved.
foreach(folder BIN SBIN LIB INCLUDE)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${folder}DIR}")
    message(FATAL_ERROR "CMAKE_INSTALL_${folder}DIR has to be below the prefix, without it in front")
  endif()
endforeach()
set(CMAKE_INSTALL_RPATH "$ORIGIN")

set(KIV_WARNINGS -Wall -Wextra -Wconversion -Wshadow -Werror)
add_compile_options(${KIV_WARNINGS})
# This version of g++ reports a copy within std::string as overlapping when it optimizes much.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  add_compile_options(-Wno-restrict)
endif()
add_compile_definitions(_GNU_SOURCE)

if(KIV_SANITIZE OR KIV_FUZZ)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
else()
  add_compile_options(-fstack-protector-strong)
  add_compile_definitions($<$<CONFIG:Release,RelWithDebInfo>:_FORTIFY_SOURCE=2>)
endif()
if(KIV_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Tests are most of a build, and need not be fast.
set(KIV_TEST_OPTIONS -O0 -g1 -U_FORTIFY_SOURCE)

# A shared library whose exported set is exactly what its version script names.
function(kiv_exports target version_script)
  target_link_options(${target} PRIVATE
    "LINKER:--version-script=${CMAKE_CURRENT_SOURCE_DIR}/${version_script}")
  set_target_properties(${target} PROPERTIES
    LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${version_script}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
  if(NOT KIV_SANITIZE AND NOT KIV_FUZZ)
    target_link_options(${target} PRIVATE LINKER:--no-undefined)
  endif()
endfunction()
