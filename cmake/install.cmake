# What cmake --install puts where: the command with its page and completions, and the library with the
# headers that others may include, a CMake package and a pkg-config file. Two components, which are also
# the packages: tsub and libquil-dev; and libquil, where the library is shared.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

if(TARGET tsub)
    install(TARGETS tsub RUNTIME COMPONENT tsub)
    install(FILES ${PROJECT_BINARY_DIR}/man/tsub.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tsub)
    set(completions ${PROJECT_BINARY_DIR}/completions)
    install(FILES ${completions}/tsub.bash RENAME tsub COMPONENT tsub
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    install(FILES ${completions}/_tsub COMPONENT tsub
            DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
    install(FILES ${completions}/tsub.fish COMPONENT tsub
            DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
    install(FILES README.md CHANGELOG.md COMPONENT tsub DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tsub)
    install(DIRECTORY docs COMPONENT tsub DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tsub
            FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")
endif()

foreach(header ${QUIL_PUBLIC_HEADERS} ${QUIL_INNER_HEADERS})
    cmake_path(GET header PARENT_PATH folder)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quil/${folder} COMPONENT libquil-dev)
endforeach()

target_include_directories(quil INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/quil>)
install(TARGETS quil EXPORT Quil
        ARCHIVE COMPONENT libquil-dev
        LIBRARY COMPONENT libquil NAMELINK_COMPONENT libquil-dev)
if(BUILD_SHARED_LIBS) # the static one is here anyway: for who wants it, by its file name
    install(TARGETS quil_inside ARCHIVE COMPONENT libquil-dev)
endif()

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/Quil)
install(EXPORT Quil NAMESPACE Quil:: FILE QuilTargets.cmake DESTINATION ${package} COMPONENT libquil-dev)
configure_package_config_file(cmake/QuilConfig.cmake.in QuilConfig.cmake INSTALL_DESTINATION ${package})
write_basic_package_version_file(QuilConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QuilConfig.cmake ${PROJECT_BINARY_DIR}/QuilConfigVersion.cmake
        DESTINATION ${package} COMPONENT libquil-dev)

cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
           OUTPUT_VARIABLE QUIL_PREFIX_FROM_PC)
configure_file(cmake/quil.pc.in quil.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quil.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT libquil-dev)
