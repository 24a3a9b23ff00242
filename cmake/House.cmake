# How the rooms of the house are built: one static library per folder of src/, linked only with what its CMakeLists.txt names.

add_library(scan_flags INTERFACE)
target_compile_definitions(scan_flags INTERFACE QT_NO_CAST_FROM_BYTEARRAY SCAN_VERSION="${PROJECT_VERSION}")
if(MSVC)
    target_compile_options(scan_flags INTERFACE /W4 /utf-8)
else()
    target_compile_options(scan_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
    # g++ 12 sees overlapping copies in optimised string concatenations that are none (its bug 105651, mended in 13).
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        target_compile_options(scan_flags INTERFACE -Wno-restrict)
    endif()
    if(SCAN_WARNINGS_AS_ERRORS)
        target_compile_options(scan_flags INTERFACE -Werror)
    endif()
endif()
if(SCAN_SANITIZE)
    target_compile_options(scan_flags INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    target_link_options(scan_flags INTERFACE -fsanitize=address,undefined)
endif()

# scan_room(NAME LINKS lib...): the library scan_NAME from the .cpp files of the current folder.
function(scan_room name)
    cmake_parse_arguments(ROOM "" "" "LINKS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS *.cpp *.h)
    if(NOT sources)
        add_library(scan_${name} INTERFACE)
        target_link_libraries(scan_${name} INTERFACE scan_flags ${ROOM_LINKS})
        return()
    endif()
    add_library(scan_${name} STATIC ${sources})
    target_include_directories(scan_${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
    target_link_libraries(scan_${name} PUBLIC scan_flags ${ROOM_LINKS})
endfunction()

# Files of tests lie in memory where that is possible: each saved file is flushed to its disk, and a disk may be busy.
if(IS_DIRECTORY /dev/shm)
    set(SCAN_TEST_TMPDIR ";TMPDIR=/dev/shm")
endif()

# scan_tests(ROOM LABEL label LINKS lib...): every tst_*.cpp of the current folder becomes one Qt Test program.
function(scan_tests room)
    cmake_parse_arguments(TESTS "" "LABEL" "LINKS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS tst_*.cpp)
    foreach(source ${sources})
        get_filename_component(test ${source} NAME_WE)
        set(program ${room}_${test})
        add_executable(${program} ${source})
        set_target_properties(${program} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
        target_link_libraries(${program} PRIVATE scan_flags scan_testsupport Qt6::Test ${TESTS_LINKS})
        target_include_directories(${program} PRIVATE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/tests)
        target_compile_definitions(${program} PRIVATE
            SCAN_TEST_DATA="${CMAKE_SOURCE_DIR}/tests/data" SCAN_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
        add_test(NAME ${program} COMMAND ${program})
        set_tests_properties(${program} PROPERTIES LABELS "${TESTS_LABEL}" TIMEOUT 900
            ENVIRONMENT "QT_QPA_PLATFORM=offscreen;UBSAN_OPTIONS=print_stacktrace=1;QTEST_FUNCTION_TIMEOUT=800000${SCAN_TEST_TMPDIR}")
    endforeach()
endfunction()
