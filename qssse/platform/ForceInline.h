#pragma once

// QSSSE_FORCE_INLINE: inlined whatever the compiler's estimate, for the small steps of a kernel's inner
// loop whose values must stay in registers (a call would pass them through memory).
#if defined(_MSC_VER)
#define QSSSE_FORCE_INLINE __forceinline
#else
#define QSSSE_FORCE_INLINE inline __attribute__((always_inline))
#endif
