# zelkov_library(<name> OBJECTS <objects> EXPORT_NAME <export> MACRO_BASE <BASE>
#                HEADER_DIR <dir> SOURCES <files...> [PRIVATE_SOURCE_INCLUDE]
#                [OBJECT_LINK <targets...>] [PUBLIC_LINK <targets...>])
#
# Compiles SOURCES once into the object library <objects>, which the unit tests
# link so that they reach internal steps, and makes the shared library <name>
# (alias Zelkov::<export>) from the same objects with hidden visibility. The
# export macros <BASE>_EXPORT are written to <dir>/export.h among the generated
# headers. PRIVATE_SOURCE_INCLUDE lets the sources include headers of src/
# other than their own folder's (the core's private steps).
function(zelkov_library name)
    cmake_parse_arguments(arg "PRIVATE_SOURCE_INCLUDE" "OBJECTS;EXPORT_NAME;MACRO_BASE;HEADER_DIR"
                          "SOURCES;OBJECT_LINK;PUBLIC_LINK" ${ARGN})
    add_library(${arg_OBJECTS} OBJECT ${arg_SOURCES})
    string(REPLACE "." "_" export_define ${name})
    target_compile_definitions(${arg_OBJECTS} PRIVATE ${export_define}_EXPORTS)
    target_include_directories(${arg_OBJECTS} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
        $<BUILD_INTERFACE:${ZELKOV_GENERATED_INCLUDE}>)
    if(arg_PRIVATE_SOURCE_INCLUDE)
        target_include_directories(${arg_OBJECTS} PRIVATE ${PROJECT_SOURCE_DIR}/src)
    endif()
    target_link_libraries(${arg_OBJECTS} PUBLIC ${arg_OBJECT_LINK})

    add_library(${name} SHARED $<TARGET_OBJECTS:${arg_OBJECTS}>)
    add_library(Zelkov::${arg_EXPORT_NAME} ALIAS ${name})
    generate_export_header(${name}
        BASE_NAME ${arg_MACRO_BASE}
        EXPORT_FILE_NAME ${ZELKOV_GENERATED_INCLUDE}/${arg_HEADER_DIR}/export.h)
    target_include_directories(${name} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
        $<BUILD_INTERFACE:${ZELKOV_GENERATED_INCLUDE}>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zelkov>)
    target_link_libraries(${name} PUBLIC ${arg_PUBLIC_LINK})
    # Installed, each library finds the others beside itself.
    set_target_properties(${name} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
        EXPORT_NAME ${arg_EXPORT_NAME}
        INSTALL_RPATH "$ORIGIN")
endfunction()
