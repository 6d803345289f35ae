# A program that can be started where it was built.

set(KEL_COPY_MISSING_SCRIPT "${CMAKE_CURRENT_LIST_DIR}/CopyMissing.cmake")

# kel_copy_beside(program source folder): after each link the files of the folder `source` that are
# missing in `folder` beside the program are copied there. What a person has edited stays.
function(kel_copy_beside program source folder)
    add_custom_command(TARGET ${program} POST_BUILD
        COMMAND "${CMAKE_COMMAND}" -D "SOURCE=${source}"
                -D "TARGET=$<TARGET_FILE_DIR:${program}>/${folder}" -P "${KEL_COPY_MISSING_SCRIPT}"
        VERBATIM)
endfunction()
