# kiv_warnings: the flags every target of ours is compiled with, and nobody else's.
add_library(kiv_warnings INTERFACE)
target_compile_features(kiv_warnings INTERFACE cxx_std_20)
target_compile_options(kiv_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Woverloaded-virtual
  # GCC 12 sees overlaps in std::string operators that are not there (GCC bug 105651).
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  $<$<BOOL:${KIV_WERROR}>:-Werror>)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_VERIFY_INTERFACE_HEADER_SETS ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};$ORIGIN")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()
# Media code without optimization is too slow to test with.
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g1")

if(KIV_SANITIZE)
  add_compile_options(-fsanitize=${KIV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KIV_SANITIZE})
endif()
if(KIV_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(KIV_TIDY)
  find_program(KIV_CLANG_TIDY clang-tidy REQUIRED)
  set(CMAKE_CXX_CLANG_TIDY ${KIV_CLANG_TIDY})
endif()

# kiv_add_module(NAME [SHARED|STATIC|INTERFACE] [SOURCES ...] [HEADERS ...] [DEPS ...] [PRIVATE_DEPS ...])
# Makes target kiv_NAME. Each of HEADERS is checked to compile alone (target
# all_verify_interface_header_sets). Which headers are installed is KivInstall's matter: those of the
# targets that it exports, and a list of others.
function(kiv_add_module name)
  cmake_parse_arguments(ARG "SHARED;INTERFACE" "" "SOURCES;HEADERS;DEPS;PRIVATE_DEPS" ${ARGN})
  set(target kiv_${name})
  if(ARG_INTERFACE)
    add_library(${target} INTERFACE)
    set(scope INTERFACE)
  else()
    if(ARG_SHARED)
      add_library(${target} SHARED ${ARG_SOURCES})
      set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 0)
    else()
      add_library(${target} STATIC ${ARG_SOURCES})
    endif()
    set(scope PUBLIC)
    target_link_libraries(${target} PRIVATE kiv_warnings)
    target_link_libraries(${target} PRIVATE ${ARG_PRIVATE_DEPS})
  endif()
  target_sources(${target} ${scope} FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}
    FILES ${ARG_HEADERS})
  target_include_directories(${target} ${scope} $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  target_link_libraries(${target} ${scope} ${ARG_DEPS})
endfunction()

# kiv_add_test(NAME SOURCES ... DEPS ... [LABELS ...] [KERNELS]): one test program, run by ctest as one
# test. With KERNELS it is run again for each instruction set that vectorized code is compiled for.
function(kiv_add_test name)
  cmake_parse_arguments(ARG "KERNELS" "" "SOURCES;DEPS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE kiv_warnings ${ARG_DEPS} GTest::gtest_main)
  set(environment "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/test/leaks.supp:print_suppressions=0;TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/test/threads.supp")
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT 900 ENVIRONMENT "${environment}")
  if(ARG_KERNELS)
    target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/test/support/InstructionSet.cpp)
    target_link_libraries(${name} PRIVATE PkgConfig::HWY)
    foreach(instructions scalar sse avx2)
      add_test(NAME ${name}_${instructions} COMMAND ${name})
      set_tests_properties(${name}_${instructions} PROPERTIES LABELS kernels TIMEOUT 900
        ENVIRONMENT "${environment};KIV_TEST_INSTRUCTIONS=${instructions}")
    endforeach()
  endif()
endfunction()
