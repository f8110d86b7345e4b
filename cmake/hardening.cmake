# Flags that make a flaw in the daemon harder to exploit, as in Debian's packages. If the builder's
# own flags, such as those of dpkg-buildflags, already set one of them, it is not added here.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

# Create code that can be loaded at any address, for executables too.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
check_pie_supported()

add_library(hardening INTERFACE)
# No hardening for sanitizers, which find the same flaws themselves, nor for coverage, which needs a
# build without optimisation.
if(HALVEX_SANITIZE OR HALVEX_FUZZ OR HALVEX_COVERAGE)
    return()
endif()

# The last two flags exist only for some kinds of processor.
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection
             -mbranch-protection=standard)
    string(REGEX MATCH "(stack|cf|branch)-[a-z]+" topic ${flag})
    if(NOT CMAKE_CXX_FLAGS MATCHES ${topic})
        check_cxx_compiler_flag(${flag} HALVEX_HAS_${topic})
        if(HALVEX_HAS_${topic})
            target_compile_options(hardening INTERFACE ${flag})
        endif()
    endif()
endforeach()

# Without optimisation, this macro has no effect except a warning of the C library.
if(NOT CMAKE_CXX_FLAGS MATCHES _FORTIFY_SOURCE)
    target_compile_options(hardening INTERFACE
        $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
endif()

foreach(keyword relro now)
    if(NOT CMAKE_EXE_LINKER_FLAGS MATCHES "-z,${keyword}")
        target_link_options(hardening INTERFACE -Wl,-z,${keyword})
    endif()
endforeach()
