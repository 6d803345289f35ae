# cmake -D SOURCE=<folder> -D TARGET=<folder> -P CopyMissing.cmake
# Copies the files of SOURCE that TARGET does not have. What is there stays as it is: people edit it.

if(NOT IS_DIRECTORY "${SOURCE}" OR NOT TARGET)
    message(FATAL_ERROR "usage: cmake -D SOURCE=<folder> -D TARGET=<folder> -P CopyMissing.cmake")
endif()

file(GLOB_RECURSE files RELATIVE "${SOURCE}" LIST_DIRECTORIES false "${SOURCE}/*")
foreach(file IN LISTS files)
    if(NOT EXISTS "${TARGET}/${file}" AND NOT IS_SYMLINK "${TARGET}/${file}")
        get_filename_component(folder "${TARGET}/${file}" DIRECTORY)
        file(COPY "${SOURCE}/${file}" DESTINATION "${folder}")
    endif()
endforeach()
