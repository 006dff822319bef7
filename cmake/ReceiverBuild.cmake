# How every target of the project is compiled, and the functions that declare them.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

add_library(receiver_options INTERFACE)
if(MSVC)
    target_compile_options(receiver_options INTERFACE /W4 /permissive- /utf-8 /fp:precise)
else()
    # -ffp-contract=off: results must not depend on the compiler's taste for fused operations.
    # What an initializer leaves out has the value that its record gives it.
    target_compile_options(receiver_options INTERFACE
        -Wall -Wextra -Wshadow -Wconversion -Wno-sign-conversion -Wno-missing-field-initializers
        -ffp-contract=off)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    target_compile_options(receiver_options INTERFACE -Werror -Wthread-safety)
endif()
if(WIN32)
    target_compile_definitions(receiver_options INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN
                               _WIN32_WINNT=0x0A00)
    if(MINGW AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        # Wrongly given for "literal" + std::string().
        target_compile_options(receiver_options INTERFACE -Wno-restrict)
    endif()
endif()
if(RECEIVER_SANITIZE)
    # Not the vptr check: it opens a pipe for each look at an object, and takes the lack of
    # descriptors, which tests bring about, for a broken one.
    target_compile_options(receiver_options INTERFACE
        -fsanitize=${RECEIVER_SANITIZE} -fno-sanitize=vptr
        -fno-omit-frame-pointer -fno-sanitize-recover=all)
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        # Wrongly given for std::regex under sanitizers.
        target_compile_options(receiver_options INTERFACE -Wno-maybe-uninitialized)
    endif()
    target_link_options(receiver_options INTERFACE -fsanitize=${RECEIVER_SANITIZE})
endif()

# For the tests' own code, most of what there is to compile: optimised little, since it runs
# once, and under the sanitizers watched for what it does to memory and threads, while
# undefined behaviour is looked for in what is tested.
add_library(receiver_test_options INTERFACE)
target_link_libraries(receiver_test_options INTERFACE receiver_options)
if(NOT MSVC)
    target_compile_options(receiver_test_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:-O1>
                           $<$<CONFIG:RelWithDebInfo>:-g1>)
endif()
if(RECEIVER_SANITIZE MATCHES address)
    target_compile_options(receiver_test_options INTERFACE -O0)
endif()
if(RECEIVER_SANITIZE MATCHES undefined)
    target_compile_options(receiver_test_options INTERFACE -fno-sanitize=undefined)
endif()

# receiver_filter_platform(LIST): drops the files of a list that are for the other platform,
# those whose base names have the word "posix" or "win32" in them.
function(receiver_filter_platform list)
    set(sources ${${list}})
    if(WIN32)
        list(FILTER sources EXCLUDE REGEX "_posix(_[a-z]+)*\\.cpp$")
    else()
        list(FILTER sources EXCLUDE REGEX "_win32(_[a-z]+)*\\.cpp$")
    endif()
    set(${list} ${sources} PARENT_SCOPE)
endfunction()

# Where files are compiled several at a time (CMAKE_UNITY_BUILD, RECEIVER_JOIN_TESTS), so many.
set(CMAKE_UNITY_BUILD_BATCH_SIZE 10)

# receiver_compile_apart(FILES...): files of the current folder that cannot be compiled together
# with others, because others have names of their own that are theirs, too.
function(receiver_compile_apart)
    set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# receiver_add_library(NAME SOURCES... LIBS...): one src/ folder. LIBS names all
# that it may use, so that the linker refuses an arrow in the wrong direction.
# PLATFORM names the base of each pair of files X_win32.cpp / X_posix.cpp.
function(receiver_add_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;PLATFORM;LIBS;PRIVATE_LIBS" ${ARGN})
    foreach(base IN LISTS arg_PLATFORM)
        if(WIN32)
            list(APPEND arg_SOURCES ${base}_win32.cpp)
        else()
            list(APPEND arg_SOURCES ${base}_posix.cpp)
        endif()
    endforeach()
    add_library(${name} STATIC ${arg_SOURCES})
    target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>)
    target_link_libraries(${name} PUBLIC ${arg_LIBS} PRIVATE receiver_options ${arg_PRIVATE_LIBS})
endfunction()

# receiver_add_program(NAME SOURCES... LIBS...): a console program in bin/.
function(receiver_add_program name)
    cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE ${arg_LIBS} receiver_options)
    receiver_windows_program(${name})
endfunction()

# On Windows every program carries the manifest that makes UTF-8 the ANSI code page,
# and a stack that holds the deepest control frame.
function(receiver_windows_program name)
    if(WIN32)
        target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/utf8_manifest.rc)
        if(NOT MSVC)
            target_link_options(${name} PRIVATE -static -Wl,--stack,67108864)
        endif()
    endif()
endfunction()

# receiver_add_test(NAME LIBS... [SOURCES...] [LABELS...] [TIMEOUT SECONDS] [WHOLE]
#                   [TOGETHER SUITES...]): a GoogleTest program of every *_test.cpp of the
# current folder (below it too), each test registered with ctest as NAME.SUITE.TEST. The end of a
# file's name says when and where it runs, in this order:
#   X_posix_test.cpp, X_win32_test.cpp   on that platform alone
#   X_serial_test.cpp                    with no other test beside it, because it changes or
#                                        counts what all share; these are a program of their own,
#                                        NAME_serial
#   X_posix_serial_test.cpp              both
# WHOLE registers the program as one test, TOGETHER all of a suite as one: its tests begin with
# something costly that is made once a process.
function(receiver_add_test name)
    cmake_parse_arguments(arg "WHOLE" "TIMEOUT" "LIBS;LABELS;SOURCES;TOGETHER" ${ARGN})
    if(NOT arg_SOURCES)
        file(GLOB_RECURSE arg_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_test.cpp)
    endif()
    receiver_filter_platform(arg_SOURCES)
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    set(properties TIMEOUT ${arg_TIMEOUT})
    if(arg_LABELS)
        list(APPEND properties LABELS "${arg_LABELS}")
    endif()
    if(RECEIVER_TEST_FIXTURES)
        list(APPEND properties FIXTURES_REQUIRED ${RECEIVER_TEST_FIXTURES})
    endif()

    set(serial_sources ${arg_SOURCES})
    list(FILTER serial_sources INCLUDE REGEX "_serial_test\\.cpp$")
    list(FILTER arg_SOURCES EXCLUDE REGEX "_serial_test\\.cpp$")
    receiver_add_test_program(${name} "${arg_SOURCES}" "${arg_LIBS}")
    if(arg_WHOLE)
        add_test(NAME ${name} COMMAND ${name})
        set_tests_properties(${name} PROPERTIES ${properties})
        return()
    endif()
    foreach(suite IN LISTS arg_TOGETHER)
        add_test(NAME ${name}.${suite} COMMAND ${name} --gtest_filter=${suite}.*)
        set_tests_properties(${name}.${suite} PROPERTIES ${properties} TIMEOUT 900
                             FAIL_REGULAR_EXPRESSION "Running 0 tests")
    endforeach()
    list(TRANSFORM arg_TOGETHER APPEND ".*")
    list(JOIN arg_TOGETHER ":" together)
    receiver_register_tests(${name} "*-${together}" ${properties})
    if(serial_sources)
        receiver_add_test_program(${name}_serial "${serial_sources}" "${arg_LIBS}")
        receiver_register_tests(${name}_serial "*" ${properties} RUN_SERIAL TRUE)
    endif()
endfunction()

function(receiver_add_test_program name sources libs)
    add_executable(${name} ${sources})
    target_link_libraries(${name} PRIVATE ${libs} GTest::gmock GTest::gtest_main
                          receiver_test_options)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/src
                               ${PROJECT_SOURCE_DIR}/tests)
    target_precompile_headers(${name} REUSE_FROM receiver_test_headers)
    if(RECEIVER_JOIN_TESTS)
        set_target_properties(${name} PROPERTIES UNITY_BUILD ON)
        # Given for every fixture that is not in the file that is compiled itself.
        target_compile_options(${name} PRIVATE
            $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    endif()
    receiver_windows_program(${name})
endfunction()

# receiver_register_tests(NAME FILTER PROPERTIES...): each test that GoogleTest's FILTER leaves, a
# process of its own; with RECEIVER_TEST_SHARDS so many processes of each program instead, which
# saves a sanitizer's run, and one under an emulator, most of its time: what takes long there is to
# start.
function(receiver_register_tests name filter)
    # Not where Windows programs start others: Wine does not start very many from one.
    if(RECEIVER_TEST_SHARDS AND NOT (CMAKE_CROSSCOMPILING AND "end-to-end" IN_LIST ARGN))
        math(EXPR last "${RECEIVER_TEST_SHARDS} - 1")
        foreach(shard RANGE ${last})
            add_test(NAME ${name}.shard${shard} COMMAND ${name})
            set_tests_properties(${name}.shard${shard} PROPERTIES ${ARGN} TIMEOUT 900 ENVIRONMENT
                "GTEST_TOTAL_SHARDS=${RECEIVER_TEST_SHARDS};GTEST_SHARD_INDEX=${shard};GTEST_FILTER=${filter}")
        endforeach()
        return()
    endif()
    # Under an emulator the first listing of tests also sets up its prefix.
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
                         TEST_PREFIX "${name}." TEST_FILTER "${filter}" PROPERTIES ${ARGN})
endfunction()

# receiver_add_emulator_fixture(): what runs the tests of a cross-build is made ready
# before the first of them, and leaves no process behind after the last.
function(receiver_add_emulator_fixture)
    set(environment RECEIVER_WINEPREFIX=${PROJECT_BINARY_DIR}/wine)
    add_test(NAME emulator.start COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} cmd /c "exit 0")
    add_test(NAME emulator.stop COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} --stop)
    set_tests_properties(emulator.start PROPERTIES FIXTURES_SETUP emulator
                         ENVIRONMENT ${environment})
    set_tests_properties(emulator.stop PROPERTIES FIXTURES_CLEANUP emulator
                         ENVIRONMENT ${environment})
    set(RECEIVER_TEST_FIXTURES emulator PARENT_SCOPE)
endfunction()
