// For the few short ways that exist to be inlined into a hot loop: the
// compiler's own judgement at -O2 keeps them out of line, which costs a
// call, a frame and a reload of the cursor for every token.
#pragma once

#if defined(__GNUC__) || defined(__clang__)
#define QX_ALWAYS_INLINE [[gnu::always_inline]] inline
#elif defined(_MSC_VER)
#define QX_ALWAYS_INLINE __forceinline
#else
#define QX_ALWAYS_INLINE inline
#endif
