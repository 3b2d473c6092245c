# orsik_library(NAME ks
#               [OUTPUT orsikks]         file name without "lib"; orsik<NAME> when not given
#               [DEPENDS nt ks]          our libraries right below, by their NAME
#               [PUBLIC target...]       libraries that the public headers need
#               [PRIVATE target...]      libraries that only the sources need
#               [EXPORTS file])          list of exact names (see cmake/exports.txt) instead of a checked-in map
#
# Makes of the sources in this directory (what all systems share) and in posix/ or windows/ beside them:
#   orsik_<NAME>_objects    the compiled sources
#   orsik_<NAME>            the shared library, whose version script is cmake/lib<OUTPUT>.map; orsiktbs::<OUTPUT> to users
#   orsik_<NAME>_internals  the same objects as a static library, for tests that look inside
# A directory without sources makes none of them. ORSIK_LIBRARIES and ORSIK_INTERNALS (global properties) list what
# was made.
function(orsik_library)
    cmake_parse_arguments(arg "" "NAME;OUTPUT;EXPORTS" "DEPENDS;PUBLIC;PRIVATE" ${ARGN})
    set(name ${arg_NAME})
    if(NOT arg_OUTPUT)
        set(arg_OUTPUT orsik${name})
    endif()
    if(WIN32)
        set(system windows)
    else()
        set(system posix)
    endif()
    file(GLOB sources CONFIGURE_DEPENDS *.cpp ${system}/*.cpp)
    if(NOT sources)
        message(STATUS "lib${arg_OUTPUT}: no sources")
        return()
    endif()

    set(shared)
    set(internals)
    foreach(below IN LISTS arg_DEPENDS)
        if(TARGET orsik_${below})
            list(APPEND shared orsik_${below})
            list(APPEND internals orsik_${below}_internals)
        endif()
    endforeach()
    set(includes $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

    string(TOUPPER ${name} upper)
    add_library(orsik_${name}_objects OBJECT ${sources})
    target_compile_definitions(orsik_${name}_objects PRIVATE ORSIK_BUILD_${upper})
    target_include_directories(orsik_${name}_objects
        PUBLIC ${PROJECT_SOURCE_DIR}/include PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(orsik_${name}_objects PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
    # Lower libraries bring what their headers need (the XDR type, for one).
    target_link_libraries(orsik_${name}_objects PUBLIC ${shared})

    if(arg_EXPORTS)
        set(map ${PROJECT_BINARY_DIR}/lib${arg_OUTPUT}.map)
        orsik_version_script(${arg_EXPORTS} ${arg_OUTPUT} ${map})
    else()
        set(map ${PROJECT_SOURCE_DIR}/cmake/lib${arg_OUTPUT}.map)
    endif()

    add_library(orsik_${name} SHARED $<TARGET_OBJECTS:orsik_${name}_objects>)
    set(requires ${shared} ${arg_PUBLIC})
    add_library(orsiktbs::${arg_OUTPUT} ALIAS orsik_${name})
    set_target_properties(orsik_${name} PROPERTIES
        EXPORT_NAME ${arg_OUTPUT}
        OUTPUT_NAME ${arg_OUTPUT}
        ORSIK_HEADERS ${name}
        ORSIK_REQUIRES "${requires}"
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        LINKER_LANGUAGE CXX
        LINK_DEPENDS ${map}
        INSTALL_RPATH "$ORIGIN")
    target_include_directories(orsik_${name} INTERFACE ${includes})
    target_link_libraries(orsik_${name}
        PUBLIC ${shared} ${arg_PUBLIC} PRIVATE ${arg_PRIVATE} Threads::Threads ${CMAKE_DL_LIBS})
    if(NOT WIN32)
        target_link_options(orsik_${name} PRIVATE -Wl,--version-script=${map})
        # Clang keeps the sanitizer run-time in the program, so its names stay open in a library.
        if(NOT (ORSIK_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES "Clang"))
            target_link_options(orsik_${name} PRIVATE -Wl,--no-undefined)
        endif()
    endif()

    add_library(orsik_${name}_internals STATIC EXCLUDE_FROM_ALL $<TARGET_OBJECTS:orsik_${name}_objects>)
    set_target_properties(orsik_${name}_internals PROPERTIES LINKER_LANGUAGE CXX)
    target_include_directories(orsik_${name}_internals INTERFACE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
    target_link_libraries(orsik_${name}_internals
        PUBLIC ${internals} ${arg_PUBLIC} ${arg_PRIVATE} Threads::Threads ${CMAKE_DL_LIBS})

    set_property(GLOBAL APPEND PROPERTY ORSIK_LIBRARIES orsik_${name})
    set_property(GLOBAL APPEND PROPERTY ORSIK_INTERNALS orsik_${name}_internals)
endfunction()

# Makes a version script from a list with two columns: name, header. Lines that begin with # are comments.
function(orsik_version_script list output map)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
    file(STRINGS ${list} lines REGEX "^[A-Za-z_]")
    set(names "")
    foreach(line IN LISTS lines)
        string(REGEX MATCH "^[A-Za-z_0-9]+" symbol "${line}")
        string(APPEND names "        ${symbol};\n")
    endforeach()
    string(TOUPPER "lib${output}_${PROJECT_VERSION_MAJOR}" node)
    file(CONFIGURE OUTPUT ${map} CONTENT "@node@ {\n    global:\n@names@    local:\n        *;\n};\n" @ONLY)
endfunction()
