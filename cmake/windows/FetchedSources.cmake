# Brings the sources of the libraries where scripts/setup cannot run, so on Windows itself: each archive
# of windows/Archives that is not unpacked yet comes from the Debian mirror KEL_DEBIAN_MIRROR and is
# taken only with the checksum that stands there.

set(KEL_DEBIAN_MIRROR "$ENV{KEL_DEBIAN_MIRROR}" CACHE STRING
    "Address of a Debian mirror (the folder that holds its pool), from which missing sources are fetched")

include(FetchContent)
include(windows/Archives)

# kel_fetch_source(folder archive checksum)
function(kel_fetch_source folder archive checksum)
    set(target "${KEL_DEPENDENCIES_FOLDER}/${folder}")
    set(complete "${target}/.fetched")
    if(EXISTS "${complete}")
        return()
    endif()
    if(NOT KEL_DEBIAN_MIRROR)
        message(FATAL_ERROR "${target} is missing; give KEL_DEBIAN_MIRROR the address of a Debian mirror, "
            "or fetch ${archive} and the others of cmake/windows/Archives.cmake by hand")
    endif()
    message(STATUS "Fetching ${folder} from ${KEL_DEBIAN_MIRROR}/${archive}")
    get_filename_component(name "${folder}" NAME)
    FetchContent_Populate(kel_fetched_${name}
        URL "${KEL_DEBIAN_MIRROR}/${archive}"
        URL_HASH SHA256=${checksum}
        SOURCE_DIR "${target}"
        BINARY_DIR "${CMAKE_BINARY_DIR}/fetched/${name}-build"
        SUBBUILD_DIR "${CMAKE_BINARY_DIR}/fetched/${name}"
        QUIET)
    file(WRITE "${complete}" "${archive}\n")
endfunction()

function(kel_fetch_sources)
    set(archives ${KEL_WINDOWS_ARCHIVES})
    while(archives)
        list(POP_FRONT archives folder archive checksum)
        kel_fetch_source("${folder}" "${archive}" "${checksum}")
    endwhile()
endfunction()
