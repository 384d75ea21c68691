// How row kernels meet the processor.
//
// RV_CLONES before a function builds its plain loops for several instruction levels behind one name; the loader picks.
// One whose address is taken stands outside unnamed namespaces: 32-bit code can't tell the address of a local choice.
// RV_AVX2 before a function lets it use AVX2 intrinsics; it is called only where cpuHasAvx2() said yes.
#pragma once

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define RV_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define RV_SANITIZED 1
#endif
#endif

#if defined(__x86_64__) || defined(__i386__)
#define RV_X86 1
#endif

// Sanitizers start after the loader has resolved the clones, so there they stay away.
#if defined(RV_X86) && !defined(RV_SANITIZED)
#define RV_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define RV_CLONES
#endif

#ifdef RV_X86
#define RV_AVX2 __attribute__((target("avx2,bmi,bmi2")))
#endif

namespace rv {

inline bool cpuHasAvx2() noexcept {
#ifdef RV_X86
    static const bool b = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
    return b;
#else
    return false;
#endif
}

}  // namespace rv
