#pragma once
// QSSSE_IO_API marks what a shared build of the I/O library exports (hidden visibility otherwise), as
// QSSSE_API does for the core library.

#if defined(_WIN32) || defined(__CYGWIN__)
#if defined(QSSSE_IO_SHARED)
#if defined(QSSSE_IO_BUILDING)
#define QSSSE_IO_API __declspec(dllexport)
#else
#define QSSSE_IO_API __declspec(dllimport)
#endif
#else
#define QSSSE_IO_API
#endif
#elif defined(__GNUC__) || defined(__clang__)
#define QSSSE_IO_API __attribute__((visibility("default")))
#else
#define QSSSE_IO_API
#endif
