# Builds for Windows x86-64 from Linux with mingw-w64 (posix threads), fully static, against
# what scripts/windows-dependencies has built.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(target x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${target}-gcc-posix)
set(CMAKE_CXX_COMPILER ${target}-g++-posix)
set(CMAKE_RC_COMPILER ${target}-windres)

set(RECEIVER_WINDOWS_DEPS "" CACHE PATH "The folder that scripts/windows-dependencies names")
if(NOT IS_DIRECTORY "${RECEIVER_WINDOWS_DEPS}")
    message(FATAL_ERROR "RECEIVER_WINDOWS_DEPS is not set; scripts/build-windows does it all, "
                        "or use -DRECEIVER_WINDOWS_DEPS=$(scripts/windows-dependencies)")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES RECEIVER_WINDOWS_DEPS)

set(CMAKE_FIND_ROOT_PATH ${RECEIVER_WINDOWS_DEPS} /usr/${target})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
list(APPEND CMAKE_PREFIX_PATH /)
set(CMAKE_FIND_LIBRARY_SUFFIXES .a)

# Only the cross-built libraries' own .pc files, with all that a static library needs after it.
set(ENV{PKG_CONFIG_LIBDIR} ${RECEIVER_WINDOWS_DEPS}/lib/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")
set(PKG_CONFIG_ARGN --static)

# The same sources give the same bytes.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -Wl,--no-insert-timestamp")
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine-emulator)
