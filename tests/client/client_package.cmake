# Installs the library into an empty prefix and builds what others would build on it: the examples
# as a CMake project and by pkg-config, with both compilers and both standards, and a plugin. The
# results stay in WORK, where examples_test.cpp runs them. Looks at the symbols on the way.
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
                    ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGN}\nended with ${result}:\n${output}")
    endif()
endfunction()

# symbols_of(RESULT FILE NM_OPTIONS...): the strong ones that it defines; weak symbols are the
# language's and the JSON library's.
function(symbols_of result file)
    execute_process(COMMAND ${NM} ${ARGN} --defined-only --format=posix ${file}
                    OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "[^\n]+ [TDBRC] [^\n]*" lines "${listing}")
    list(TRANSFORM lines REPLACE " .*" "")
    set(${result} ${lines} PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --component client --prefix ${WORK}/prefix)
set(library ${WORK}/prefix/${LIBDIR}/libreceiver-client)

# A controlling program may have an Event or a Mutex of its own: what the archive defines is ours
# by name.
symbols_of(symbols ${library}.a --extern-only)
list(LENGTH symbols count)
if(count LESS 100)
    message(FATAL_ERROR "only ${count} symbols were seen in ${library}.a")
endif()
foreach(symbol IN LISTS symbols)
    if(NOT symbol MATCHES "^(_Z[A-Z]*[a-z]*[A-Z]*8receiver|receiver_)")
        message(FATAL_ERROR "${library}.a defines outside namespace receiver: ${symbol}")
    endif()
endforeach()

# What the shared library exports is what the package promises, name by name.
file(STRINGS ${SOURCE}/packaging/debian/symbols recorded REGEX "^ [^ ]+@RECEIVER_CLIENT_1 ")
list(TRANSFORM recorded REPLACE "^ ([^ ]+@RECEIVER_CLIENT_1) .*" "\\1")
list(FILTER recorded EXCLUDE REGEX "^RECEIVER_CLIENT_1@")
list(SORT recorded)
symbols_of(exported ${library}.so.1 --dynamic)
list(TRANSFORM exported REPLACE "@@" "@")
list(SORT exported)
if(NOT recorded STREQUAL exported)
    set(added ${exported})
    list(REMOVE_ITEM added ${recorded})
    list(REMOVE_ITEM recorded ${exported})
    message(FATAL_ERROR "the shared library's symbols are not those of packaging/debian/symbols; "
                        "added: ${added}; missing: ${recorded}")
endif()
execute_process(COMMAND ${READELF} --dynamic ${library}.so OUTPUT_VARIABLE dynamic
                COMMAND_ERROR_IS_FATAL ANY)
if(NOT dynamic MATCHES "soname: \\[libreceiver-client\\.so\\.1\\]" OR dynamic MATCHES "TEXTREL")
    message(FATAL_ERROR "the shared library's name or code is wrong:\n${dynamic}")
endif()

set(flags)
if(SANITIZE)  # the library needs its own compiler's runtime
    set(flags -fsanitize=${SANITIZE})
endif()
string(JOIN " " flag_text ${flags})
run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE}/docs/examples -B ${WORK}/cmake
    -DCMAKE_C_FLAGS=${flag_text} -DCMAKE_CXX_FLAGS=${flag_text} -DCMAKE_C_COMPILER=${C_COMPILER}
    -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_PREFIX_PATH=${WORK}/prefix)
run(${CMAKE_COMMAND} --build ${WORK}/cmake)

set(ENV{PKG_CONFIG_PATH} ${WORK}/prefix/${LIBDIR}/pkgconfig)
function(ask_pkg_config result)
    execute_process(COMMAND ${PKG_CONFIG} ${ARGN} receiver-client OUTPUT_VARIABLE words
                    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    separate_arguments(words UNIX_COMMAND "${words}")
    set(${result} ${words} PARENT_SCOPE)
endfunction()
ask_pkg_config(cflags --cflags)
ask_pkg_config(libs --libs)
ask_pkg_config(static_libs --static --libs)
set(warnings -Wall -Wextra -Werror)
set(rpath -Wl,-rpath,${WORK}/prefix/${LIBDIR})

if(SANITIZE)
    set(names own)
else()
    set(names gcc clang)
endif()
foreach(name IN LISTS names)
    if(name STREQUAL clang)
        set(cxx clang++)
        set(cc clang)
    elseif(name STREQUAL gcc)
        set(cxx g++)
        set(cc gcc)
    else()
        set(cxx ${COMPILER})
        set(cc ${C_COMPILER})
    endif()
    foreach(standard 20 23)
        string(REPLACE 23 2b spelled ${standard})
        run(${cxx} -std=c++${spelled} ${warnings} ${flags}
            ${SOURCE}/docs/examples/record_program.cpp -o ${WORK}/record_program_${name}_${standard}
            ${cflags} ${libs} ${rpath})
    endforeach()
    run(${cc} -std=c99 -pedantic ${warnings} ${flags} ${SOURCE}/docs/examples/record_program.c
        -o ${WORK}/record_program_c_${name} ${cflags} ${libs} ${rpath})
endforeach()

# The archive, as C programs and plugins link it.
list(REMOVE_ITEM static_libs -lreceiver-client)
run(${C_COMPILER} ${flags} ${SOURCE}/docs/examples/record_program.c -o ${WORK}/record_program_c_static
    ${cflags} ${library}.a ${static_libs})
run(${COMPILER} -std=c++20 -shared -fPIC -fvisibility=hidden ${flags} ${SOURCE}/tests/client/plugin.cpp
    -o ${WORK}/plugin.so ${cflags} ${library}.a ${static_libs} -Wl,--exclude-libs,ALL)
run(${C_COMPILER} ${flags} ${SOURCE}/tests/client/plugin_host.c -o ${WORK}/plugin_host)
symbols_of(exported ${WORK}/plugin.so --dynamic)
if(NOT exported STREQUAL "plugin_record")
    message(FATAL_ERROR "the plugin exports ${exported}")
endif()
