# What we take from others. Back ends that may be absent (sssd, winbind) are opened at run time and not looked for.

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(TIRPC REQUIRED IMPORTED_TARGET libtirpc)
pkg_check_modules(ICU_UC REQUIRED IMPORTED_TARGET icu-uc)
find_package(Boost 1.81 REQUIRED)           # headers only: unordered_flat_map
find_library(ORSIK_ACL_LIBRARY acl REQUIRED)

if(ORSIK_TOOLS)
    find_package(CLI11 REQUIRED)
    find_package(nlohmann_json REQUIRED)
    find_program(ORSIK_GENCAT gencat REQUIRED)
endif()
if(ORSIK_TESTS)
    find_package(GTest REQUIRED)
    find_package(rapidcheck REQUIRED)
endif()
if(ORSIK_BENCH)
    find_package(benchmark REQUIRED)
endif()
