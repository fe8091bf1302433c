# The build of a module in one call.
#
#   zelk_library(NAME SOURCES a.cpp ... [DEPS log str PkgConfig::XML2 ...]
#                     [TESTS a_test.cpp ...] [TEST_DEPS ...] [TEST_ENV A=b ...])
#
# makes the static library zelk_NAME and, where there are TESTS, the program
# NAME_test, which ctest runs as one test. A dependency without "::" is the
# name of another module.
#
#   zelk_program(NAME SOURCES main.cpp ... DEPS ...)      installed into bin
#   zelk_fuzzer(NAME DEPS ...)       test/fuzz/NAME.cpp with test/fuzz/seeds/NAME

# What is installed.
add_custom_target(programs)

function(zelk_link target)
  foreach(dep IN LISTS ARGN)
    if(dep MATCHES "::")
      target_link_libraries(${target} PUBLIC ${dep})
    else()
      target_link_libraries(${target} PUBLIC zelk_${dep})
    endif()
  endforeach()
endfunction()

function(zelk_library name)
  cmake_parse_arguments(A "" "" "SOURCES;DEPS;TESTS;TEST_DEPS;TEST_ENV" ${ARGN})
  if(A_SOURCES)
    add_library(zelk_${name} STATIC ${A_SOURCES})
    target_include_directories(zelk_${name} PUBLIC ${PROJECT_SOURCE_DIR})
    zelk_link(zelk_${name} ${A_DEPS})
  else()
    add_library(zelk_${name} INTERFACE)
    target_include_directories(zelk_${name} INTERFACE ${PROJECT_SOURCE_DIR})
  endif()
  if(A_TESTS AND BUILD_TESTING)
    add_executable(${name}_test ${A_TESTS})
    zelk_link(${name}_test ${name} ${A_TEST_DEPS} GTest::gtest_main)
    # Half of the time of a build would go into making tests fast.
    target_compile_options(${name}_test PRIVATE -O0 -g1)
    add_test(NAME ${name} COMMAND ${name}_test)
    set_tests_properties(${name} PROPERTIES TIMEOUT 300 ENVIRONMENT "${A_TEST_ENV}")
  endif()
endfunction()

function(zelk_program name)
  cmake_parse_arguments(A "" "" "SOURCES;DEPS" ${ARGN})
  add_executable(${name} ${A_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  zelk_link(${name} ${A_DEPS})
  add_dependencies(programs ${name})
  install(TARGETS ${name} RUNTIME DESTINATION bin)
endfunction()

function(zelk_fuzzer name)
  cmake_parse_arguments(A "" "" "DEPS" ${ARGN})
  if(NOT ZELK_FUZZ OR NOT EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${name}.cpp)
    return()
  endif()
  add_executable(${name} ${name}.cpp)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  zelk_link(${name} ${A_DEPS})
endfunction()
