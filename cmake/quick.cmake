# Where the time of a build goes: two thirds of it went into reading the same headers of the
# standard library again in 200 sources, a sixth into warnings. A release reads those headers once,
# and who only wants to run the program (./setup) may do without the warnings. The code that comes
# out is the same. The builds with checks read every header where it is included, so that none is
# forgotten.
#
# Half of what is left goes into our own headers and into starting compilers: sources of one room
# that keep no name which another uses are compiled as one. cmake/batches.txt says which, a batch a
# line, written by cmake/write_batches.py.
option(ORBITRAX_WARNINGS "Let the compiler warn" ON)
option(ORBITRAX_BATCHES "Compile sources that agree as one, in a release" ON)

# batch TARGET: what stands in one line of the list is one to the compiler.
function(batch target)
    set(list ${CMAKE_SOURCE_DIR}/cmake/batches.txt)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
    file(STRINGS ${list} lines)
    set(number 0)
    foreach(line ${lines})
        math(EXPR number "${number} + 1")
        string(REPLACE " " ";" names ${line})
        list(TRANSFORM names PREPEND ${CMAKE_SOURCE_DIR}/src/)
        set_source_files_properties(${names} PROPERTIES UNITY_GROUP ${number})
    endforeach()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()

# quicken TARGET
function(quicken target)
    if(WIN32 OR ORBITRAX_SANITIZE OR NOT CMAKE_BUILD_TYPE STREQUAL Release)
        return()
    endif()
    target_precompile_headers(${target} PRIVATE
        <algorithm> <array> <cmath> <cstdint> <cstring> <limits> <numbers>)
    if(ORBITRAX_BATCHES)
        batch(${target})
    endif()
    if(ORBITRAX_CCACHE)
        # The cache looks into what is precompiled when it is told that this is enough.
        target_compile_options(${target} PRIVATE -fpch-preprocess)
        set_target_properties(${target} PROPERTIES CXX_COMPILER_LAUNCHER
            "env;CCACHE_SLOPPINESS=pch_defines,time_macros;${CMAKE_CXX_COMPILER_LAUNCHER}")
    endif()
endfunction()
