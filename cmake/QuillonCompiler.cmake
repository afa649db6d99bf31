# Warnings, sanitizers, debug information and the linker shared by every target of the project.
include(CheckLinkerFlag)

function(quillon_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                           -Wold-style-cast -Wcast-align -Woverloaded-virtual
                                           -Wnull-dereference -Wimplicit-fallthrough)
  if(QUILLON_SANITIZE STREQUAL "thread")
    # GCC 12 reports null dereferences inside libstdc++'s inlined string moves once ThreadSanitizer
    # instruments them; the other builds keep the warning.
    target_compile_options(${target} PRIVATE -Wno-null-dereference)
  endif()
  if(QUILLON_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# QUILLON_SANITIZE: `thread` builds with ThreadSanitizer; any other true value (ON, `address`)
# with AddressSanitizer and UndefinedBehaviorSanitizer.
if(QUILLON_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(QUILLON_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

# Line tables are all the debug information the builds keep: backtraces and the sanitizers'
# reports still name file and line, and each file compiles in about three quarters of the time
# that full -g takes.
foreach(language C CXX)
  foreach(config DEBUG RELWITHDEBINFO)
    string(REGEX REPLACE "(^| )-g( |$)" "\\1-g1\\2" CMAKE_${language}_FLAGS_${config} "${CMAKE_${language}_FLAGS_${config}}")
  endforeach()
endforeach()

# LLVM's linker links the application in a fifth of the time that GNU ld takes; without it the
# default linker is used.
check_linker_flag(CXX -fuse-ld=lld QUILLON_HAVE_LLD)
if(QUILLON_HAVE_LLD)
  add_link_options(-fuse-ld=lld)
else()
  message(STATUS "ld.lld not found: linking with the compiler's default linker")
endif()

# Test code needs no -O2: the code under test is built with the build's own flags in its
# libraries; the tests, fakes and their templates compile a fifth faster at -O1.
#
# Each test target also compiles as a few unity files (its sources pasted together eight at a
# time): a test file spends most of its compile time reading the same GoogleTest, standard and
# core headers, which a unity file reads once.
function(quillon_test_code_optimization target)
  target_compile_options(${target} PRIVATE $<$<CONFIG:RelWithDebInfo>:-O1>)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
endfunction()
