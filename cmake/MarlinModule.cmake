# What all targets share, and the one way to declare a module or its tests.

add_library(marlin_options INTERFACE)
target_include_directories(marlin_options INTERFACE "${CMAKE_SOURCE_DIR}/src")
target_compile_options(marlin_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
    -Wcast-align -Wunused -Woverloaded-virtual -Wnull-dereference -Wdouble-promotion -Wformat=2
    -Werror -fstack-protector-strong)
target_link_libraries(marlin_options INTERFACE Threads::Threads)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
    # Debian's compiler defines the macro only with its packaging flags, so set it ourselves.
    target_compile_options(marlin_options INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    # Inlining at -O2 makes this one report paths that cannot be taken inside the standard library.
    target_compile_options(marlin_options INTERFACE -Wno-null-dereference)
endif()
if(MARLIN_SANITIZE)
    # No vptr: the check opens a pipe to look at memory, and takes its failure for a bad object in tests
    # that run short of descriptors. There are no virtual functions of ours to check.
    target_compile_options(marlin_options INTERFACE
        -fsanitize=${MARLIN_SANITIZE} -fno-sanitize=vptr -fno-omit-frame-pointer
        -fno-sanitize-recover=all
        -Wno-null-dereference -Wno-maybe-uninitialized
        # False alarms within the standard library, which the compiler no longer knows for a system's
        # header once it was precompiled. The release build has these warnings.
        -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread)
    # Checking the tests' own expressions nearly doubles the time to compile them. Accesses by addresses
    # and threads are checked there too, since those checks need to see both sides.
    define_property(TARGET PROPERTY MARLIN_TEST_CODE INITIALIZE_FROM_VARIABLE MARLIN_TEST_CODE)
    target_compile_options(marlin_options INTERFACE
        $<$<BOOL:$<TARGET_PROPERTY:MARLIN_TEST_CODE>>:-fno-sanitize=undefined>)
    target_link_options(marlin_options INTERFACE -fsanitize=${MARLIN_SANITIZE})
endif()

if(MARLIN_PRECOMPILE)
    # The macro of this flag must be the same wherever a precompiled header is used.
    target_compile_options(marlin_options INTERFACE -pthread)
    # One precompiled header for all modules and one for all tests. A build without them, such as the
    # release's, shows when a file leans on an include that is not its own.
    # Written only when it differs: a newer one would build everything anew at each configuration.
    file(CONFIGURE OUTPUT "${CMAKE_BINARY_DIR}/precompiled.cpp" CONTENT "// Only carries the header.\n")
    add_library(marlin_precompiled OBJECT "${CMAKE_BINARY_DIR}/precompiled.cpp")
    target_link_libraries(marlin_precompiled PRIVATE marlin_options)
    target_precompile_headers(marlin_precompiled PRIVATE
        <algorithm> <atomic> <chrono> <cstdint> <cstdlib> <filesystem> <functional> <map> <memory> <mutex>
        <optional> <string> <string_view> <thread> <utility> <vector>)
endif()

# marlin_module(NAME SOURCES... LINKS...): the static library mb_NAME of src/NAME.
# PRIVATE_LINKS are used in its .cpp files only.
function(marlin_module name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
    add_library(mb_${name} STATIC ${ARG_SOURCES})
    target_link_libraries(mb_${name} PUBLIC marlin_options ${ARG_LINKS} PRIVATE ${ARG_PRIVATE_LINKS})
    if(MARLIN_PRECOMPILE)
        target_precompile_headers(mb_${name} REUSE_FROM marlin_precompiled)
    endif()
endfunction()

# marlin_test(NAME SOURCES... LINKS...): one GoogleTest program, each of its tests known to ctest.
# LABEL groups the tests for `ctest -L`; TIMEOUT is for one test, in seconds.
function(marlin_test name)
    cmake_parse_arguments(ARG "" "LABEL;TIMEOUT" "SOURCES;LINKS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
    target_link_libraries(${name} PRIVATE ${ARG_LINKS} GTest::gtest GTest::gtest_main)
    if(MARLIN_PRECOMPILE)
        target_precompile_headers(${name} REUSE_FROM marlin_precompiled_tests)
    endif()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
        PROPERTIES LABELS "${ARG_LABEL}" TIMEOUT ${ARG_TIMEOUT})
endfunction()
