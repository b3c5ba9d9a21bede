# Where the time of a build goes: two thirds of it went into reading the same headers of the
# standard library again in 200 sources, a sixth into warnings. A release reads those headers once,
# and who only wants to run the program (./setup) may do without the warnings. The code that comes
# out is the same. The builds with checks read every header where it is included, so that none is
# forgotten.
option(ORBITRAX_WARNINGS "Let the compiler warn" ON)

# quicken TARGET
function(quicken target)
    if(WIN32 OR ORBITRAX_SANITIZE OR NOT CMAKE_BUILD_TYPE STREQUAL Release)
        return()
    endif()
    target_precompile_headers(${target} PRIVATE
        <algorithm> <array> <cmath> <cstdint> <cstring> <limits> <numbers>)
    if(ORBITRAX_CCACHE)
        # The cache looks into what is precompiled when it is told that this is enough.
        target_compile_options(${target} PRIVATE -fpch-preprocess)
        set_target_properties(${target} PROPERTIES CXX_COMPILER_LAUNCHER
            "env;CCACHE_SLOPPINESS=pch_defines,time_macros;${CMAKE_CXX_COMPILER_LAUNCHER}")
    endif()
endfunction()
