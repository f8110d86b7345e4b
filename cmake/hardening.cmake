# What makes a flaw in the daemon harder to use, as in Debian's packages. A flag about which the
# builder's own flags, such as those of dpkg-buildflags, have a say is left to them.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

# Code that can be loaded at any address, executables too.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
check_pie_supported()

add_library(hardening INTERFACE)
# The sanitizers look for the same flaws; the counters are for a build without optimisation.
if(HALVEX_SANITIZE OR HALVEX_FUZZ OR HALVEX_COVERAGE)
    return()
endif()

# Two of them exist on some kinds of processor only.
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

# It does nothing without optimisation but have the C library warn.
if(NOT CMAKE_CXX_FLAGS MATCHES _FORTIFY_SOURCE)
    target_compile_options(hardening INTERFACE
        $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
endif()

foreach(keyword relro now)
    if(NOT CMAKE_EXE_LINKER_FLAGS MATCHES "-z,${keyword}")
        target_link_options(hardening INTERFACE -Wl,-z,${keyword})
    endif()
endforeach()
