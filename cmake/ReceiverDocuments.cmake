# Manual pages and completions, installed as the component "documents".

# receiver_install_documents(PROGRAM MAN BASH ZSH): these files, for the program of that name.
# Windows has no place for them.
function(receiver_install_documents program man bash zsh)
    if(WIN32)
        return()
    endif()
    install(FILES ${man} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 RENAME ${program}.1
            COMPONENT documents)
    install(FILES ${bash} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
            RENAME ${program} COMPONENT documents)
    install(FILES ${zsh} DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions
            RENAME _${program} COMPONENT documents)
endfunction()

# receiver_add_documents(PROGRAM): made by the tool from its own declarations; a program of
# another platform cannot be asked.
function(receiver_add_documents program)
    if(CMAKE_CROSSCOMPILING)
        return()
    endif()
    set(documents)
    foreach(kind man bash zsh)
        set(document ${CMAKE_CURRENT_BINARY_DIR}/${program}.${kind})
        list(APPEND documents ${document})
        add_custom_command(OUTPUT ${document}
            COMMAND ${program} --generate ${kind} > ${document}
            DEPENDS ${program} VERBATIM)
    endforeach()
    add_custom_target(${program}-documents ALL DEPENDS ${documents})
    receiver_install_documents(${program} ${documents})
endfunction()
