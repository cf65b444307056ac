# What a build for Windows needs besides.

# Wide functions throughout; those of Windows 7 and later.
target_compile_definitions(nimport_build_options
  INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601)

# Nothing but the system's own libraries is needed where the plug-in runs.
target_link_options(nimport_build_options INTERFACE -static)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Hosts keep the stack aligned to 4 bytes only. Doubles are computed as on every other system,
  # whatever precision the host has set.
  target_compile_options(nimport_build_options INTERFACE -mstackrealign -msse2 -mfpmath=sse)
endif()

# The tests share precompiled headers, of which ccache must be told that they are safe to use.
if(CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros
                                  ${CCACHE})
  target_compile_options(nimport_build_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>)
endif()

if(NOT CMAKE_CROSSCOMPILING)
  return()
endif()

# Debian's headers of these libraries serve every system, but their directory holds this system's, too.
set(headers ${CMAKE_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${headers})
foreach(library nlohmann CLI)
  file(CREATE_LINK /usr/include/${library} ${headers}/${library} SYMBOLIC)
endforeach()
foreach(library nlohmann_json::nlohmann_json CLI11::CLI11)
  add_library(${library} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${library} INTERFACE ${headers})
endforeach()

if(NIMPORT_BUILD_TESTS)
  # Debian's package googletest has the sources.
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  foreach(library gtest gtest_main gmock gmock_main)
    target_compile_options(${library} PRIVATE -w -O0)
  endforeach()
endif()
