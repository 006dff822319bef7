# The libraries that are called: as the distribution packages them natively, as
# scripts/build-windows leaves them for the cross-build.
find_package(Threads REQUIRED)
find_package(nlohmann_json 3.11 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavformat libavcodec libswresample libavutil)
pkg_check_modules(FFTW REQUIRED IMPORTED_TARGET fftw3)
if(RECEIVER_BUILD_TESTS)
    include(GoogleTest)
    find_package(GTest REQUIRED)
endif()
