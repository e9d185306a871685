# How this project declares its targets: one function a kind, sources listed by name.

# Compilations are found again in another checkout: paths below this one count as relative.
find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${CCACHE})
endif()

# Library headers are included as "brimle/X.h" inside the tree exactly as by those who link the library.
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/include)
file(CREATE_LINK ${CMAKE_SOURCE_DIR}/Submodules/brimle-library ${CMAKE_BINARY_DIR}/include/brimle SYMBOLIC)

# What a command of the Makefile builds.
add_custom_target(helper)               # the helper and the programs that it starts
add_custom_target(tests-without-engine) # what runs under the sanitizers
add_custom_target(fuzz-targets)

function(tessaro_compile_options name)
  target_compile_options(${name} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
                                         -Wnon-virtual-dtor -Werror)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # At -O3 g++ 12 takes an inlined "literal" + string for an overlapping copy (its bug 105651, mended in 13), and an
    # insertion into an empty vector for one beyond its end.
    target_compile_options(${name} PRIVATE -Wno-restrict -Wno-stringop-overflow
                                           -Wno-unknown-warning-option) # clang-tidy reads these too
  endif()
  if(TESSARO_SANITIZERS)
    # The check of virtual tables makes a pipe, which the confined decoder may not.
    target_compile_options(${name} PRIVATE -fsanitize=${TESSARO_SANITIZERS} -fno-sanitize=vptr
                                           -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${name} PRIVATE -fsanitize=${TESSARO_SANITIZERS})
  endif()
  if(TESSARO_FUZZ)
    # The fuzzer is led by what the libraries run through, not only by the target's own few lines.
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
endfunction()

# tessaro_library(NAME SOURCES a.cpp ... [PUBLIC targets ...] [PRIVATE targets ...] [PKG_CONFIG modules ...])
# PKG_CONFIG modules are private: a third-party header never appears in a header of ours.
function(tessaro_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;PUBLIC;PRIVATE;PKG_CONFIG" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/Platform ${CMAKE_BINARY_DIR}/include
                             PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
  tessaro_pkg_config(${name} ${arg_PKG_CONFIG})
  set_property(TARGET ${name} PROPERTY TESSARO_PKG_CONFIG ${arg_PKG_CONFIG})
  tessaro_compile_options(${name})
endfunction()

# tessaro_program(NAME SOURCES a.cpp ... [PRIVATE targets ...] [PKG_CONFIG modules ...])
function(tessaro_program name)
  cmake_parse_arguments(arg "" "" "SOURCES;PRIVATE;PKG_CONFIG" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  # A floor below may need more than this program uses of it; what is not used is not loaded.
  target_link_options(${name} PRIVATE LINKER:--as-needed)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/Platform ${CMAKE_BINARY_DIR}/include)
  target_link_libraries(${name} PRIVATE ${arg_PRIVATE})
  tessaro_pkg_config(${name} ${arg_PKG_CONFIG})
  tessaro_compile_options(${name})
endfunction()

# tessaro_test(NAME LABEL unit|engine|system|install SOURCES ... [PRIVATE ...] [PKG_CONFIG ...] [TIMEOUT seconds])
# One ctest entry a program: GoogleTest reports the cases, ctest the programs.
function(tessaro_test name)
  cmake_parse_arguments(arg "" "LABEL;TIMEOUT" "SOURCES;PRIVATE;PKG_CONFIG" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  tessaro_program(${name} SOURCES ${arg_SOURCES} PRIVATE ${arg_PRIVATE} GTest::gmock_main PKG_CONFIG ${arg_PKG_CONFIG})
  target_compile_definitions(${name} PRIVATE TEST_DATA_FOLDER="${CMAKE_SOURCE_DIR}/Tests/Data")
  if(TESSARO_SANITIZERS)
    target_sources(${name} PRIVATE ${CMAKE_SOURCE_DIR}/Tests/Support/SanitizerOptions.cpp)
    target_compile_options(${name} PRIVATE -O0) # halves the time to build; the libraries under test are optimised
  endif()
  if(NOT arg_LABEL STREQUAL engine)
    add_dependencies(tests-without-engine ${name})
  endif()
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES LABELS "${arg_LABEL}" TIMEOUT ${arg_TIMEOUT})
endfunction()

# tessaro_benchmark(NAME SOURCES ... [PRIVATE ...] [PKG_CONFIG ...]): a Google Benchmark program, run by `make bench`.
function(tessaro_benchmark name)
  cmake_parse_arguments(arg "" "" "SOURCES;PRIVATE;PKG_CONFIG" ${ARGN})
  tessaro_program(${name} SOURCES ${arg_SOURCES} PRIVATE ${arg_PRIVATE} benchmark::benchmark PKG_CONFIG ${arg_PKG_CONFIG})
endfunction()

# tessaro_fuzz_target(NAME SOURCES ... [SEEDS folder] [PRIVATE ...] [PKG_CONFIG ...]): a libFuzzer program.
function(tessaro_fuzz_target name)
  cmake_parse_arguments(arg "" "" "SOURCES;PRIVATE;PKG_CONFIG" ${ARGN})
  tessaro_program(${name} SOURCES ${arg_SOURCES} PRIVATE ${arg_PRIVATE} PKG_CONFIG ${arg_PKG_CONFIG})
  add_dependencies(fuzz-targets ${name})
  target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
endfunction()

function(tessaro_pkg_config name)
  foreach(module ${ARGN})
    string(MAKE_C_IDENTIFIER ${module} variable)
    if(NOT TARGET PkgConfig::${variable})
      pkg_check_modules(${variable} REQUIRED IMPORTED_TARGET GLOBAL ${module})
    endif()
    target_link_libraries(${name} PRIVATE PkgConfig::${variable})
  endforeach()
endfunction()
