# What every compilation shares: the language, the warnings, what a build type means, sanitizers, ccache.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

# RelWithDebInfo is the developer's build: assertions stay, one level of optimisation, so that warnings which need
# data flow appear and stepping still works. Release is what users get.
foreach(lang C CXX)
    set(CMAKE_${lang}_FLAGS_RELWITHDEBINFO "-O1 -g")
    set(CMAKE_${lang}_FLAGS_RELEASE "-O2 -DNDEBUG")
endforeach()

add_compile_options(-Wall -Wextra -pedantic -Wshadow -Wformat=2)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Clang's -Wshadow also speaks of a constructor argument named like the member it sets.
    add_compile_options(-Wno-unused-command-line-argument)
endif()
if(ORSIK_WERROR)
    add_compile_options(-Werror)
endif()

if(ORSIK_SANITIZE)
    # Of the debug information only what names the lines of a report.
    add_compile_options(-fsanitize=${ORSIK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
    add_link_options(-fsanitize=${ORSIK_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND ORSIK_SANITIZE MATCHES "undefined")
        # XDR routines are called through xdrproc_t, which has no prototype: the RPC library's convention.
        add_compile_options(-fno-sanitize=function)
    endif()
elseif(CMAKE_BUILD_TYPE STREQUAL "Release")
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong -fstack-clash-protection)
endif()

if(ORSIK_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "ORSIK_FUZZ needs Clang: libFuzzer is part of it.")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(ORSIK_COVERAGE)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "ORSIK_COVERAGE needs Clang: the report is made with llvm-cov.")
    endif()
    add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
    add_link_options(-fprofile-instr-generate)
endif()

if(UNIX AND NOT APPLE)
    add_link_options(-Wl,-z,relro,-z,now -Wl,--as-needed)
endif()

# The precompiled header of the tests needs the sloppiness, build trees side by side share the cache without
# the directory in the hash.
find_program(ORSIK_CCACHE ccache)
if(ORSIK_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(launcher ${CMAKE_COMMAND} -E env CCACHE_NOHASHDIR=true
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${ORSIK_CCACHE})
    set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()
