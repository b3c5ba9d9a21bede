#include "numeric/kernels.h"

#include <cstring>

namespace qsolve {

#if defined(__x86_64__)
namespace avx2 {
extern const Kernels kKernels;
}
namespace avx512 {
extern const Kernels kKernels;
}

const Kernels* KernelsAt(int i) {
    const bool fAvx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    const bool fAvx512 = fAvx2 && __builtin_cpu_supports("avx512f") &&
                         __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
    const Kernels* forms[] = {&portable::kKernels, fAvx2 ? &avx2::kKernels : nullptr,
                              fAvx512 ? &avx512::kKernels : nullptr};
    return i >= 0 && i < 3 ? forms[i] : nullptr;
}
#else
const Kernels* KernelsAt(int i) {
    return i == 0 ? &portable::kKernels : nullptr;
}
#endif

bool ChooseKernels(const char* sName) {
    const bool fAny = sName == nullptr || *sName == '\0';
    const Kernels* pChosen = nullptr;
    for (int i = 0; const Kernels* pForm = KernelsAt(i); ++i)
        if (fAny || std::strcmp(sName, pForm->sName) == 0) pChosen = pForm;
    if (pChosen) kernels = pChosen;
    return pChosen != nullptr;
}

}  // namespace qsolve
