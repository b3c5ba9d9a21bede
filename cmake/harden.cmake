# What makes a fault in memory end the process instead of serving whoever caused it, for the rooms
# that read what others have sent and steer by it: guards of the stack, checked copies, marked
# targets of jumps. The program is a PIE by the compiler's own choice; its tables of addresses are
# read-only once it runs. The rooms that compute see checked numbers alone and are compiled for
# speed.
function(harden target)
    if(WIN32 OR ORBITRAX_SANITIZE OR NOT CMAKE_BUILD_TYPE STREQUAL Release)
        return()
    endif()
    set(guards -fstack-protector-strong -fstack-clash-protection -D_FORTIFY_SOURCE=2)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
        list(APPEND guards -fcf-protection=full)
    endif()
    file(GLOB exposed CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/platform/posix*.cpp)
    set_property(SOURCE ${exposed} APPEND PROPERTY COMPILE_OPTIONS ${guards})
    target_compile_options(qsolve_steering PRIVATE ${guards})
    target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now,-z,noexecstack)
endfunction()
