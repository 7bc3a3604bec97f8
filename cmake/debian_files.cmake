# What Debian wants of a package beyond what is installed elsewhere: run by cpack on the staged files
# of each component, before they are packed.
function(zip file)
    execute_process(COMMAND gzip -9n ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# The version's line in the changelog has the day of its release.
file(STRINGS ${CPACK_DEBIAN_SOURCE_DIR}/CHANGELOG.md release REGEX "^## .${CPACK_PACKAGE_VERSION}. - ")
if(NOT release MATCHES "([0-9]+-[0-9]+-[0-9]+)$")
    message(FATAL_ERROR "CHANGELOG.md doesn't tell of version ${CPACK_PACKAGE_VERSION}")
endif()
execute_process(COMMAND date -u -R -d ${CMAKE_MATCH_1} OUTPUT_VARIABLE day COMMAND_ERROR_IS_FATAL ANY)

file(GLOB stages LIST_DIRECTORIES TRUE ${CPACK_TEMPORARY_DIRECTORY}/*)
foreach(stage ${stages})
    cmake_path(GET stage FILENAME package)
    if(package STREQUAL libquil)
        set(package ${CPACK_DEBIAN_LIBQUIL_PACKAGE_NAME})
    endif()
    set(doc ${stage}/usr/share/doc/${package})
    file(MAKE_DIRECTORY ${doc})
    file(COPY_FILE ${CPACK_DEBIAN_SOURCE_DIR}/cmake/debian_copyright ${doc}/copyright)
    file(WRITE ${doc}/changelog.Debian
         "${CPACK_DEBIAN_PACKAGE_SOURCE} (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) "
         "bookworm; urgency=medium\n\n  * Version ${CPACK_PACKAGE_VERSION}: changelog.gz of tsub tells "
         "what is new.\n\n -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${day}")
    zip(${doc}/changelog.Debian)
endforeach()

set(share ${CPACK_TEMPORARY_DIRECTORY}/tsub/usr/share)
file(RENAME ${share}/doc/tsub/CHANGELOG.md ${share}/doc/tsub/changelog)
zip(${share}/doc/tsub/changelog)
if(EXISTS ${share}/man)
    zip(${share}/man/man1/tsub.1)
    file(RENAME ${share}/zsh/site-functions ${share}/zsh/vendor-completions)
endif()
