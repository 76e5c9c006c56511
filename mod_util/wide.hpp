// Loops that are built a second time for wider registers, where the machine has them. They do the same
// operations, none of them fused, and so give the same results.
#ifndef ISOFIELD_MOD_UTIL_WIDE_HPP
#define ISOFIELD_MOD_UTIL_WIDE_HPP

namespace isofield::detail {

// ISOFIELD_NARROW: without them, for tests of what other machines do.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(ISOFIELD_NARROW)
// A function that may only be called when has_wide_registers(). What it calls must be inlined to be built so
// too: ISOFIELD_INLINE.
#define ISOFIELD_WIDE __attribute__((target("avx2")))
inline bool has_wide_registers() {
    return __builtin_cpu_supports("avx2");
}
#else
#define ISOFIELD_WIDE
inline bool has_wide_registers() {
    return false;
}
#endif

#define ISOFIELD_INLINE [[gnu::always_inline]] inline

}  // namespace isofield::detail
#endif
