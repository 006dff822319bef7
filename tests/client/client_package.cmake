# Installs the library into an empty prefix, builds the example against it with CMake and
# with pkg-config, and runs both results: called wrongly, they say so by exit code 2.
# Before that, looks at the names that the installed archives give to a linker.
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
                    ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGN}\nended with ${result}:\n${output}")
    endif()
endfunction()

function(expect_usage_error program)
    execute_process(COMMAND ${program} RESULT_VARIABLE result)
    if(NOT result EQUAL 2)
        message(FATAL_ERROR "${program} ended with ${result}")
    endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --component client --prefix ${WORK}/prefix)

# A controlling program may have an Event or a Mutex of its own: whatever the archives define
# for the linker alone (weak symbols are the language's and the JSON library's) is ours by name.
file(GLOB archives ${WORK}/prefix/${LIBDIR}/*.a)
if(NOT archives)
    message(FATAL_ERROR "no archive was installed")
endif()
set(symbols_seen 0)
foreach(archive IN LISTS archives)
    execute_process(COMMAND ${NM} --extern-only --defined-only --format=posix ${archive}
                    OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "[^\n]+ [TDBRC] [^\n]*" strong "${listing}")
    foreach(line IN LISTS strong)
        math(EXPR symbols_seen "${symbols_seen} + 1")
        if(NOT line MATCHES "^_Z[A-Z]*[a-z]*[A-Z]*8receiver")
            message(FATAL_ERROR "${archive} defines outside namespace receiver: ${line}")
        endif()
    endforeach()
endforeach()
if(symbols_seen LESS 100)
    message(FATAL_ERROR "only ${symbols_seen} symbols were seen in ${archives}")
endif()

set(flags)
if(SANITIZE)
    set(flags -fsanitize=${SANITIZE})
endif()
run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE}/docs/examples -B ${WORK}/cmake -DCMAKE_CXX_FLAGS=${flags}
    -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_PREFIX_PATH=${WORK}/prefix)
run(${CMAKE_COMMAND} --build ${WORK}/cmake)
expect_usage_error(${WORK}/cmake/record_program)

set(ENV{PKG_CONFIG_PATH} ${WORK}/prefix/${LIBDIR}/pkgconfig)
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs receiver-client
                OUTPUT_VARIABLE client OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(client UNIX_COMMAND "${client}")
run(${COMPILER} -std=c++20 ${flags} ${SOURCE}/docs/examples/record_program.cpp
    -o ${WORK}/record_program ${client})
expect_usage_error(${WORK}/record_program)
