#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "numeric/kernels.h"

/// Read by the address sanitizer: memory that there is not is refused, as it is without it.
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

/// The tests run on the form of the kernels that ORBITRAX_KERNELS names, else on the fastest.
int main(int nArguments, char** pArguments) {
    testing::InitGoogleTest(&nArguments, pArguments);
    const char* sName = std::getenv("ORBITRAX_KERNELS");
    if (!qsolve::ChooseKernels(sName)) {
        std::fprintf(stderr, "this processor has no kernels \"%s\"\n", sName);
        return 1;
    }
    return RUN_ALL_TESTS();
}
