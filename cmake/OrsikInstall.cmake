# What "cmake --install" lays down, and how other builds find it.
include(CMakePackageConfigHelpers)

get_property(libraries GLOBAL PROPERTY ORSIK_LIBRARIES)
if(libraries)
    install(TARGETS ${libraries} EXPORT orsiktbs-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
    install(EXPORT orsiktbs-targets NAMESPACE orsik:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orsiktbs)
    configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/orsiktbs-config.cmake.in
        ${PROJECT_BINARY_DIR}/orsiktbs-config.cmake INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orsiktbs)
    write_basic_package_version_file(${PROJECT_BINARY_DIR}/orsiktbs-config-version.cmake COMPATIBILITY SameMajorVersion)
    install(FILES ${PROJECT_BINARY_DIR}/orsiktbs-config.cmake ${PROJECT_BINARY_DIR}/orsiktbs-config-version.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orsiktbs)
endif()
foreach(library ks ezrpc nt mvfs tbs)
    if(IS_DIRECTORY ${PROJECT_SOURCE_DIR}/include/${library})
        install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/${library} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
            FILES_MATCHING PATTERN "*.h")
    endif()
endforeach()
if(TARGET tbs)
    install(TARGETS tbs RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
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
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION doc FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")
if(TARGET catalogues)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/locale DESTINATION ${CMAKE_INSTALL_DATADIR}
        FILES_MATCHING PATTERN "tbs_lib")
endif()
