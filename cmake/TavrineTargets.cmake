# How every target of the project is made, so that no folder repeats flags or forgets to register its tests.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# The build tree has the layout of an installation, so a program finds its tools the same way in both.
set(TAVRINE_BIN_DIR ${CMAKE_BINARY_DIR}/bin)
set(TAVRINE_LIBEXEC_DIR ${CMAKE_BINARY_DIR}/libexec/tavrine)
set(TAVRINE_TEST_BIN_DIR ${CMAKE_BINARY_DIR}/tests/bin)

add_library(tavrine_flags INTERFACE)
target_compile_options(tavrine_flags INTERFACE -Wall -Wextra -Wconversion -Wshadow)
# GCC 12 reports overlapping copies inside std::string where there are none (its bug 105651).
target_compile_options(tavrine_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
if(TAVRINE_WERROR)
  target_compile_options(tavrine_flags INTERFACE -Werror)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  target_compile_options(tavrine_flags INTERFACE -fstack-protector-strong -D_FORTIFY_SOURCE=2)
endif()
target_include_directories(tavrine_flags INTERFACE ${PROJECT_SOURCE_DIR})

# tavrine_library(NAME SOURCES … DEPENDS … [PRIVATE_DEPENDS …]): the library of one folder.
function(tavrine_library name)
  cmake_parse_arguments(LIB "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  add_library(${name} STATIC ${LIB_SOURCES})
  target_link_libraries(${name} PUBLIC tavrine_flags ${LIB_DEPENDS} PRIVATE ${LIB_PRIVATE_DEPENDS})
endfunction()

# All that a user runs, without the tests.
add_custom_target(programs)

# tavrine_program(NAME SOURCES … DEPENDS …): a program that the kit starts; it lands where `toolPath` looks.
function(tavrine_program name)
  cmake_parse_arguments(PROGRAM "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${PROGRAM_SOURCES})
  target_link_libraries(${name} PRIVATE tavrine_flags ${PROGRAM_DEPENDS})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${TAVRINE_LIBEXEC_DIR})
  add_dependencies(programs ${name})
  install(TARGETS ${name} RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/tavrine)
endfunction()

# tavrine_test(NAME SOURCES … DEPENDS …): a test program; each of its cases is a CTest test of its own.
function(tavrine_test name)
  cmake_parse_arguments(TEST "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${TEST_SOURCES})
  target_link_libraries(${name} PRIVATE tavrine_flags ${TEST_DEPENDS} GTest::gtest_main)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${TAVRINE_TEST_BIN_DIR})
  target_compile_definitions(${name} PRIVATE TAVRINE_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 300 FIXTURES_REQUIRED scratch ENVIRONMENT_MODIFICATION "TMPDIR=set:${TAVRINE_SCRATCH_DIR}")
  foreach(source IN LISTS TEST_SOURCES)
    cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR} NORMALIZE)
    set_property(GLOBAL APPEND PROPERTY TAVRINE_TEST_SOURCES ${source})
  endforeach()
endfunction()
