#pragma once
// QSSSE_API marks the classes and functions a shared build exports. The library is compiled with
// hidden visibility, so anything not marked stays internal to the shared object.

#if defined(_WIN32) || defined(__CYGWIN__)
#if defined(QSSSE_SHARED)
#if defined(QSSSE_BUILDING)
#define QSSSE_API __declspec(dllexport)
#else
#define QSSSE_API __declspec(dllimport)
#endif
#else
#define QSSSE_API
#endif
#elif defined(__GNUC__) || defined(__clang__)
#define QSSSE_API __attribute__((visibility("default")))
#else
#define QSSSE_API
#endif
