# The man page and the completions, made from hand-written templates and the table of options.
add_executable(make_pages tool/pages/make_pages.cpp tool/option/option_table.cpp)
tsub_warn(make_pages)
target_link_libraries(make_pages PRIVATE quil_inside)

foreach(page man/tsub.1 completions/tsub.bash completions/_tsub completions/tsub.fish)
    add_custom_command(
        OUTPUT ${PROJECT_BINARY_DIR}/${page}
        COMMAND make_pages ${PROJECT_SOURCE_DIR}/${page}.in ${PROJECT_BINARY_DIR}/${page}
        DEPENDS make_pages ${page}.in VERBATIM)
    list(APPEND pages ${PROJECT_BINARY_DIR}/${page})
endforeach()
add_custom_target(tsub_pages ALL DEPENDS ${pages})
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/man ${PROJECT_BINARY_DIR}/completions)
