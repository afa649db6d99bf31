# Helpers that let each area of the tree declare its own targets without touching shared files.

# Adds every direct subdirectory of `dir` that has a CMakeLists.txt.
function(quillon_add_subdirectories dir)
  file(GLOB children LIST_DIRECTORIES true CONFIGURE_DEPENDS ${dir}/*)
  list(SORT children)
  foreach(child IN LISTS children)
    if(IS_DIRECTORY ${child} AND EXISTS ${child}/CMakeLists.txt)
      add_subdirectory(${child})
    endif()
  endforeach()
endfunction()

# quillon_add_adapter(<area> SOURCES ... LIBRARIES ...)
# Declares the Linux adapter library of one area (quillon_linux_<area>, alias Quillon::linux_<area>)
# and adds it to Quillon::linux, which the application links.
function(quillon_add_adapter area)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  set(target quillon_linux_${area})
  add_library(${target} STATIC ${ARG_SOURCES})
  add_library(Quillon::linux_${area} ALIAS ${target})
  target_link_libraries(${target} PUBLIC Quillon::core ${ARG_LIBRARIES})
  quillon_set_warnings(${target})
  target_link_libraries(quillon_linux INTERFACE ${target})
endfunction()

# quillon_add_unit_tests(<name> SOURCES ... [LIBRARIES ...])
function(quillon_add_unit_tests name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE Quillon::core Quillon::fakes GTest::gmock GTest::gtest_main ${ARG_LIBRARIES})
  quillon_set_warnings(${name})
  quillon_test_code_optimization(${name})
  # A deadlock fails its test within two minutes instead of holding up the whole run.
  gtest_discover_tests(${name} PROPERTIES LABELS unit TIMEOUT 120 DISCOVERY_TIMEOUT 120)
endfunction()

# quillon_add_integration_tests(<name> SOURCES ... [LIBRARIES ...] [TIMEOUT s] [HEADLESS])
# Integration tests run inside the desktop session of tests/integration/desktop-session.
# HEADLESS: they need no display, bus or sound server, so they are labelled `integration-headless`
# and the sanitizer builds (QUILLON_WITH_DESKTOP OFF) run them without that session.
function(quillon_add_integration_tests name)
  cmake_parse_arguments(ARG "HEADLESS" "TIMEOUT" "SOURCES;LIBRARIES" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE Quillon::core Quillon::fakes GTest::gmock GTest::gtest_main ${ARG_LIBRARIES})
  quillon_set_warnings(${name})
  quillon_test_code_optimization(${name})
  # One label (gtest_discover_tests cannot pass a list): label filters are regular expressions, so
  # `-L integration` still selects the headless ones.
  set(label integration)
  if(ARG_HEADLESS)
    set(label integration-headless)
  endif()
  gtest_discover_tests(${name} PROPERTIES LABELS ${label} TIMEOUT ${ARG_TIMEOUT} DISCOVERY_TIMEOUT 120)
endfunction()
