# libzip without encryption and with zlib alone: reading the contents of update packages. Its own
# build asks the compiler fifty questions; these are the answers for Windows.

set(libzip_source "${windows_sources}/libzip")
set(libzip_generated "${CMAKE_BINARY_DIR}/libzip")

set(libzip_answers HAVE__CLOSE HAVE__DUP HAVE__FDOPEN HAVE__FILENO HAVE__SETMODE HAVE__SNPRINTF
    HAVE__STRDUP HAVE__STRICMP HAVE__STRTOI64 HAVE__STRTOUI64 HAVE__UNLINK HAVE_FILENO HAVE_SNPRINTF
    HAVE_STDBOOL_H HAVE_STRDUP HAVE_STRICMP HAVE_STRTOLL HAVE_STRTOULL ZIP_STATIC)
if(MINGW)
    list(APPEND libzip_answers
        HAVE_FSEEKO HAVE_FTELLO HAVE_STRCASECMP HAVE_STRINGS_H HAVE_UNISTD_H)
endif()
foreach(answer IN LISTS libzip_answers)
    set(${answer} TRUE)
endforeach()
set(SIZEOF_OFF_T 4)
set(SIZEOF_SIZE_T 8)

file(STRINGS "${libzip_source}/CMakeLists.txt" libzip_version_line REGEX "^  VERSION [0-9.]+$")
if(NOT libzip_version_line MATCHES "VERSION ([0-9]+)\\.([0-9]+)\\.([0-9]+)")
    message(FATAL_ERROR "${libzip_source}/CMakeLists.txt does not say the version as expected")
endif()
set(libzip_VERSION_MAJOR ${CMAKE_MATCH_1})
set(libzip_VERSION_MINOR ${CMAKE_MATCH_2})
set(libzip_VERSION_PATCH ${CMAKE_MATCH_3})
set(libzip_VERSION "${CMAKE_MATCH_1}.${CMAKE_MATCH_2}.${CMAKE_MATCH_3}")
set(ZIP_NULLABLE_DEFINES "#define _Nullable\n#define _Nonnull")
set(LIBZIP_TYPES_INCLUDE "#include <stdint.h>")
foreach(bits IN ITEMS 8 16 32 64)
    set(ZIP_INT${bits}_T int${bits}_t)
    set(ZIP_UINT${bits}_T uint${bits}_t)
endforeach()
configure_file("${libzip_source}/cmake-config.h.in" "${libzip_generated}/config.h")
configure_file("${libzip_source}/cmake-zipconf.h.in" "${libzip_generated}/zipconf.h")

# The texts and kinds of its errors stand in comments of its header: /* S Seek error */.
file(STRINGS "${libzip_source}/lib/zip.h" libzip_errors REGEX "^#define ZIP_ER_[A-Z_]+ [0-9]+ +/\\*")
set(libzip_texts "")
set(libzip_kinds "")
foreach(error IN LISTS libzip_errors)
    if(NOT error MATCHES "/\\* ([NSZ]) (.*[^ ]) *\\*/")
        message(FATAL_ERROR "${libzip_source}/lib/zip.h does not describe an error as expected: ${error}")
    endif()
    string(APPEND libzip_kinds "ZIP_ET_${CMAKE_MATCH_1},\n")
    string(APPEND libzip_texts "\"${CMAKE_MATCH_2}\",\n")
endforeach()
file(CONFIGURE OUTPUT "${libzip_generated}/zip_err_str.c" CONTENT [=[
#include "zipint.h"
#define ZIP_ET_N ZIP_ET_NONE
#define ZIP_ET_S ZIP_ET_SYS
#define ZIP_ET_Z ZIP_ET_ZLIB
const char *const _zip_err_str[] = {
@libzip_texts@};
const int _zip_nerr_str = sizeof(_zip_err_str) / sizeof(_zip_err_str[0]);
const int _zip_err_type[] = {
@libzip_kinds@};
]=] @ONLY)

add_foreign_library(kel_libzip ALIAS PkgConfig::libzip
    SOURCES "${libzip_source}/lib/zip_*.c"
    INCLUDE "${libzip_source}/lib" "${libzip_generated}")
target_sources(kel_libzip PRIVATE "${libzip_generated}/zip_err_str.c")
get_target_property(libzip_files kel_libzip SOURCES)
list(FILTER libzip_files EXCLUDE REGEX
    "algorithm_(bzip2|xz)|zip_crypto_|winzip_aes|zip_random_u|zip_mkstempm|file_stdio_named")
set_target_properties(kel_libzip PROPERTIES SOURCES "${libzip_files}")
target_link_libraries(kel_libzip PRIVATE kel_zlib advapi32)
