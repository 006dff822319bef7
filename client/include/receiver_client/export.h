// Marks what the shared library gives to a linker; all else in it is hidden.
#pragma once

#if defined(_WIN32)
// The C++ classes are for the static library there: a DLL's have to be compiled by the same
// compiler as the program. receiver_client.h is what the DLL exports.
#define RECEIVER_API
#else
#define RECEIVER_API __attribute__((visibility("default")))
#endif
