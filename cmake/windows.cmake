# What only the Windows build has: resources, the manner of linking, the package.
enable_language(RC)

# Apart from the programs, whose compiler options are none of the resource compiler's business.
add_library(qsolve_resources OBJECT src/platform/windows_resources.rc)
target_compile_definitions(qsolve_resources PRIVATE
    ORBITRAX_MAJOR=${PROJECT_VERSION_MAJOR}
    ORBITRAX_MINOR=${PROJECT_VERSION_MINOR}
    ORBITRAX_PATCH=${PROJECT_VERSION_PATCH})
set_source_files_properties(src/platform/windows_resources.rc PROPERTIES
    OBJECT_DEPENDS ${CMAKE_SOURCE_DIR}/src/platform/windows_icon.ico)

# A window and no console, no runtime library beside the program.
function(link_for_windows target)
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:qsolve_resources>)
    target_link_libraries(${target} PRIVATE user32 gdi32)
    target_link_options(${target} PRIVATE -mwindows -static)
endfunction()

# package_for_windows(target): with each build, orbitrax-<version>-windows.zip with the program,
# without its symbols, and what it comes with.
function(package_for_windows target)
    set(name ${PROJECT_NAME}-${PROJECT_VERSION}-windows)
    set(folder ${CMAKE_BINARY_DIR}/package/${name})
    set(zip ${CMAKE_BINARY_DIR}/${name}.zip)
    file(GLOB tables CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/parameters/*)
    set(words ${CMAKE_SOURCE_DIR}/README.md ${CMAKE_SOURCE_DIR}/LICENSE)
    add_custom_command(OUTPUT ${zip}
        COMMAND ${CMAKE_COMMAND} -E rm -rf ${CMAKE_BINARY_DIR}/package ${zip}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}/parameters
        COMMAND ${CMAKE_COMMAND} -E copy ${words} ${folder}
        COMMAND ${CMAKE_COMMAND} -E copy ${tables} ${folder}/parameters
        COMMAND ${CMAKE_STRIP} -o ${folder}/$<TARGET_FILE_NAME:${target}> $<TARGET_FILE:${target}>
        COMMAND ${CMAKE_COMMAND} -E chdir ${CMAKE_BINARY_DIR}/package
                ${CMAKE_COMMAND} -E tar cf ${zip} --format=zip ${name}
        DEPENDS ${target} ${words} ${tables}
        COMMENT "Packing ${name}.zip"
        VERBATIM)
    add_custom_target(package_zip ALL DEPENDS ${zip})
endfunction()
