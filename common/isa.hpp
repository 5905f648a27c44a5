// Instruction-set levels. Hot loops outside the library (the host's, the transform library's,
// the extension's) are compiled once per level, each copy in a namespace of its own, and the
// copy to run is chosen once per process, as the host chooses among the library's copies:
// VLMATHDSP_ISA when set, else the best level the processor runs.
//
// A kernel file is compiled per level with VL_ISA defined as isa_baseline, isa_v3 or isa_v4
// (cmake: vl_isa_kernels) and puts its functions in `namespace VL_ISA`; callers declare them
// with VL_ISA_DECLARE and take the running copy with VL_ISA_PICK. Everything a kernel file
// defines must sit in that namespace or be inlined: a shared out-of-line copy would run one
// level's instructions for all.
#pragma once

#include <cstdlib>
#include <cstring>

namespace vlcommon {

enum class IsaLevel { Baseline = 0, V3 = 1, V4 = 2 };

// Clang before 16 knows the features but not the level names.
inline bool runsLevel3() {
    __builtin_cpu_init();
#if defined(__clang__) && __clang_major__ < 16
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi") &&
           __builtin_cpu_supports("bmi2");
#else
    return __builtin_cpu_supports("x86-64-v3");
#endif
}

inline bool runsLevel4() {
    __builtin_cpu_init();
#if defined(__clang__) && __clang_major__ < 16
    return runsLevel3() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
#else
    return __builtin_cpu_supports("x86-64-v4");
#endif
}

// The level asked for by name ("baseline", "x86-64-v3", "x86-64-v4"), never above what the
// processor runs; the best it runs when `asked` is null or empty. An unknown name counts as
// baseline (loading the library refuses it with its own error).
inline IsaLevel isaLevelFor(const char* asked) {
    const IsaLevel best = runsLevel4() ? IsaLevel::V4 : runsLevel3() ? IsaLevel::V3 : IsaLevel::Baseline;
    if (!asked || !*asked) return best;
    IsaLevel wanted = IsaLevel::Baseline;
    if (std::strcmp(asked, "x86-64-v3") == 0) wanted = IsaLevel::V3;
    if (std::strcmp(asked, "x86-64-v4") == 0) wanted = IsaLevel::V4;
    return wanted < best ? wanted : best;
}

inline IsaLevel isaLevel() {
    static const IsaLevel level = isaLevelFor(std::getenv("VLMATHDSP_ISA"));
    return level;
}

template <class F>
F byLevel(F baseline, F v3, F v4) {
    switch (isaLevel()) {
        case IsaLevel::V4: return v4;
        case IsaLevel::V3: return v3;
        default: return baseline;
    }
}

}  // namespace vlcommon

#define VL_ISA_DECLARE(...)           \
    namespace isa_baseline {          \
    __VA_ARGS__;                      \
    }                                 \
    namespace isa_v3 {                \
    __VA_ARGS__;                      \
    }                                 \
    namespace isa_v4 {                \
    __VA_ARGS__;                      \
    }

// The running level's copy of `name`, a function of a namespace that holds VL_ISA_DECLARE's
// declarations; a cast picks one overload: VL_ISA_PICK(name, void (*)(const double*)).
#define VL_ISA_PICK(name, type) \
    ::vlcommon::byLevel<type>(&isa_baseline::name, &isa_v3::name, &isa_v4::name)
