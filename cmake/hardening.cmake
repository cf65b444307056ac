# What makes a fault in our code harder to use: build options for all that is ours.
# tests/docs/hardening_test.cc reads most of them from the built files, scripts/test-windows those of
# Windows. docs/attackers.md says what each costs.
#
# Sanitizers replace the same functions of the C library and find more: nothing of this goes with them.

include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)
include(CheckPIESupported)

# `nimport_check_containers(TARGETS...)`: an index beyond a container, or the first of an empty one, ends
# the process before it reads or writes there. For what the measurement in docs/attackers.md allows.
function(nimport_check_containers)
  foreach(target ${ARGN})
    target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
  endforeach()
endfunction()

check_pie_supported(LANGUAGES C CXX)
if(NIMPORT_SANITIZE)
  return()
endif()

target_compile_options(nimport_build_options INTERFACE -fstack-protector-strong)
if(WIN32)
  # Programs and libraries lie at another address at each start, in 64-bit Windows anywhere in the
  # whole address space, and data is never code. 32-bit programs may use more than 2 GiB.
  target_link_options(nimport_build_options INTERFACE -Wl,--dynamicbase -Wl,--nxcompat)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    target_link_options(nimport_build_options INTERFACE -Wl,--high-entropy-va)
  else()
    target_link_options(nimport_build_options
                        INTERFACE $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-Wl,--large-address-aware>)
  endif()
  # What canaries ask for, for all that is linked here: an archive, which the linker opens on demand.
  add_library(nimport_stack_guard STATIC ${PROJECT_SOURCE_DIR}/src/platform/windows/stack_guard.cc)
  target_compile_options(nimport_stack_guard PRIVATE -fno-stack-protector)
  target_link_libraries(nimport_build_options INTERFACE nimport_stack_guard)
  return()
endif()

# Checked functions of the C library, where the compiler optimises; the tests, which are not
# optimised, go without. Some compilers define it themselves, with another number. Not on Windows:
# there they are the compiler's own library, which loads further libraries.
target_compile_options(
  nimport_build_options
  INTERFACE "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")

# What the dynamic linker fills in is read-only before the first line of ours runs.
target_link_options(nimport_build_options INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

# Intel's and AMD's check of jumps and returns, where the processor is one of theirs.
check_cxx_compiler_flag(-fcf-protection=full NIMPORT_HAS_CF_PROTECTION)
if(NIMPORT_HAS_CF_PROTECTION)
  target_compile_options(nimport_build_options INTERFACE -fcf-protection=full)
  # Debian's start files lack the mark, without which the linker drops it from what it makes. A shadow
  # stack asks nothing of them. The mark for jumps (-z ibt) would be untrue: their _init has no target.
  check_linker_flag(CXX -Wl,-z,shstk NIMPORT_HAS_SHADOW_STACK_MARK)
  if(NIMPORT_HAS_SHADOW_STACK_MARK)
    target_link_options(nimport_build_options INTERFACE -Wl,-z,shstk)
  endif()
endif()
