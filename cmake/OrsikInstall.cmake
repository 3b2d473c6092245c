# What "cmake --install" lays down, and how other builds find it.
include(CMakePackageConfigHelpers)

# What other builds find a library by: its pkg-config file, whose prefix is relative to the file itself.
function(orsik_pkg_config library)
    get_target_property(output ${library} OUTPUT_NAME)
    get_target_property(below ${library} ORSIK_REQUIRES)
    set(requires)
    foreach(needed IN LISTS below)
        if(needed MATCHES "^PkgConfig::(.+)$")
            list(APPEND requires ${${CMAKE_MATCH_1}_MODULE_NAME})
        else()
            get_target_property(needed_output ${needed} OUTPUT_NAME)
            list(APPEND requires "${needed_output} = ${PROJECT_VERSION}")
        endif()
    endforeach()
    list(JOIN requires ", " requires)
    set(description "${PROJECT_DESCRIPTION}")
    if(NOT output STREQUAL "orsiktbs")
        set(description "Platform library below liborsiktbs")
    endif()
    file(RELATIVE_PATH to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
    string(REGEX REPLACE "/$" "" to_prefix "${to_prefix}")
    configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${PROJECT_BINARY_DIR}/pkgconfig/${output}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/${output}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

get_property(libraries GLOBAL PROPERTY ORSIK_LIBRARIES)
if(libraries)
    set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orsiktbs)
    install(TARGETS ${libraries} EXPORT orsiktbs-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
    install(EXPORT orsiktbs-targets NAMESPACE orsiktbs:: DESTINATION ${package_dir})
    configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/orsiktbs-config.cmake.in
        ${PROJECT_BINARY_DIR}/orsiktbs-config.cmake
        INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
    write_basic_package_version_file(${PROJECT_BINARY_DIR}/orsiktbs-config-version.cmake COMPATIBILITY SameMajorVersion)
    install(FILES ${PROJECT_BINARY_DIR}/orsiktbs-config.cmake ${PROJECT_BINARY_DIR}/orsiktbs-config-version.cmake
        DESTINATION ${package_dir})
endif()
foreach(library IN LISTS libraries)
    get_target_property(headers ${library} ORSIK_HEADERS)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")
    orsik_pkg_config(${library})
endforeach()
if(TARGET tbs)
    install(TARGETS tbs RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/schemas DESTINATION ${CMAKE_INSTALL_DATADIR}/liborsiktbs)
endif()
if(IS_DIRECTORY ${PROJECT_SOURCE_DIR}/data/policy)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/data/policy DESTINATION ${CMAKE_INSTALL_DATADIR}/liborsiktbs)
endif()

# The rules of file types, for the build tree too, which looks like a product.
configure_file(${PROJECT_SOURCE_DIR}/data/magic/default.magic ${PROJECT_BINARY_DIR}/config/magic/default.magic COPYONLY)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/data/magic/ DESTINATION config/magic FILES_MATCHING PATTERN "*.magic")

# The product directory, which is the prefix. What nothing is laid into yet is there all the same.
foreach(directory common config/ui doc/testfix etc/sql etc/utils lib/X11/uid)
    install(DIRECTORY DESTINATION ${directory})
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/data/product/ DESTINATION .)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION doc
    FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN doxygen EXCLUDE PATTERN schemas EXCLUDE)
if(TARGET catalogues)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/locale DESTINATION ${CMAKE_INSTALL_DATADIR}
        FILES_MATCHING PATTERN "tbs_lib")
endif()

# "cpack" packs the product directory as one archive.
set(CPACK_GENERATOR TGZ)
set(CPACK_PACKAGE_FILE_NAME
    ${PROJECT_NAME}-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
string(TOLOWER ${CPACK_PACKAGE_FILE_NAME} CPACK_PACKAGE_FILE_NAME)
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
