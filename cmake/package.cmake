# The Debian packages, one for each component of cmake/install.cmake; scripts/package makes them.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL tsub libquil-dev)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian_files.cmake)
set(CPACK_DEBIAN_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The tsub developers <tsub@tsub.invalid>")
set(CPACK_DEBIAN_PACKAGE_SOURCE tsub)

set(CPACK_DEBIAN_TSUB_PACKAGE_NAME tsub)
set(CPACK_DEBIAN_TSUB_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TSUB_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TSUB_PACKAGE_SUGGESTS libicu72) # for the charsets that the C library lacks
set(CPACK_COMPONENT_TSUB_DESCRIPTION
    "find and replace text in files and pipes, in any charset
tsub decodes what it reads, works on characters, and encodes what it writes:
a pattern means the same in GBK, Shift_JIS or UTF-8 as in ASCII, and a text
can change its charset on the way. It previews changes as a diff, changes
files in place in little memory, and can take its changes back.")

set(CPACK_DEBIAN_LIBQUIL-DEV_PACKAGE_NAME libquil-dev)
set(CPACK_DEBIAN_LIBQUIL-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBQUIL-DEV_PACKAGE_DEPENDS "libstdc++-12-dev | libstdc++-dev")
set(CPACK_COMPONENT_LIBQUIL-DEV_DESCRIPTION
    "C++20 library of strings, charsets, expressions, files and threads
Quil has copy-on-write strings with search and replacement, POSIX and advanced
regular expressions on narrow and wide characters, converters for 95 charsets,
files and streams, locks, threads, logging and a tagged binary storage.

This package contains the headers and the static library.")

if(BUILD_SHARED_LIBS)
    list(APPEND CPACK_COMPONENTS_ALL libquil)
    set(libquil libquil${PROJECT_VERSION_MAJOR})
    set(CPACK_DEBIAN_LIBQUIL_PACKAGE_NAME ${libquil})
    set(CPACK_DEBIAN_LIBQUIL_PACKAGE_SECTION libs)
    set(CPACK_DEBIAN_LIBQUIL_PACKAGE_SHLIBDEPS ON)
    string(REPLACE "headers and the static library" "shared library" CPACK_COMPONENT_LIBQUIL_DESCRIPTION
                   "${CPACK_COMPONENT_LIBQUIL-DEV_DESCRIPTION}")
    string(APPEND CPACK_DEBIAN_LIBQUIL-DEV_PACKAGE_DEPENDS ", ${libquil} (= ${PROJECT_VERSION}-1)")
endif()

include(CPack)
