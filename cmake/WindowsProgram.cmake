# kel_add_windows_parts(program description): what a program for Windows has beside its sources: the wide
# entry, the manifest and what the file's properties show. Nothing on other systems.
if(WIN32)
    enable_language(RC)
endif()

function(kel_add_windows_parts program_name program_description)
    if(NOT WIN32)
        return()
    endif()
    set(resources "${CMAKE_CURRENT_BINARY_DIR}/${program_name}.rc")
    configure_file("${PROJECT_SOURCE_DIR}/packaging/windows/program.rc.in" "${resources}" @ONLY)
    target_sources(${program_name} PRIVATE "${resources}")
    set_source_files_properties("${resources}" PROPERTIES
        OBJECT_DEPENDS "${PROJECT_SOURCE_DIR}/packaging/windows/program.manifest")
    if(MINGW)
        target_link_options(${program_name} PRIVATE -municode) # the entry is wmain
    elseif(MSVC)
        target_link_options(${program_name} PRIVATE /MANIFEST:NO) # its own stands in the resources
    endif()
endfunction()
