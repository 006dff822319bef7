// Marks what the shared library gives to a linker; all else in it is hidden. Only the library's
// own build has to say how. On Windows the C++ classes are for the static library: a DLL's have
// to be compiled by the same compiler as the program, and receiver_client.h is what it exports.
#pragma once

#ifndef RECEIVER_API
#define RECEIVER_API
#endif
