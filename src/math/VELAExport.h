// Marks what the shared library exports. The library is built with hidden visibility, so only the
// classes, structs and functions declared with VELA_API form its binary interface; everything else
// (the kernel layer, internal helpers) stays private to libcorvane and free to change.
#pragma once

#if defined(_WIN32)
#define VELA_API
#else
#define VELA_API __attribute__((visibility("default")))
#endif
