# The manual pages and the shell's completion. Both come from the tool's help, the pages at build
# time and the completion at run time, so they follow the verbs.
install(FILES tools/manual/completion.bash RENAME tyksim
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

find_program(HELP2MAN help2man)
if(NOT HELP2MAN OR CMAKE_CROSSCOMPILING)
    message(STATUS "No manual pages: they need help2man and a tyksim that runs here")
    return()
endif()
set(pages ${PROJECT_BINARY_DIR}/man1)
add_custom_command(OUTPUT ${pages}/tyksim.1
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/tools/manual/pages $<TARGET_FILE:tyksim> ${pages}
    DEPENDS tyksim tools/manual/pages)
add_custom_target(manual ALL DEPENDS ${pages}/tyksim.1)
install(DIRECTORY ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR})
