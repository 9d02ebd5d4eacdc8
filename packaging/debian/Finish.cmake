# Run by cpack on what it has installed for the packages, before it packs: strips, compresses the manuals, puts completions
# where Debian has them, adds what each of its packages has to have.

set(debian ${CPACK_HALYX_SOURCE_DIR}/packaging/debian)

function(halyx_run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "this failed: ${ARGN}")
    endif()
endfunction()

foreach(component ${CPACK_COMPONENTS_ALL})
    string(TOUPPER ${component} upper)
    set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr)

    file(GLOB_RECURSE programs ${root}/bin/* ${root}/lib/*.so ${root}/lib/*.so.*)
    foreach(program ${programs})
        if(NOT IS_SYMLINK ${program})
            halyx_run(strip --strip-unneeded --remove-section=.comment --remove-section=.note ${program})
        endif()
    endforeach()
    # A library is not for running.
    file(GLOB_RECURSE libraries ${root}/lib/*.so ${root}/lib/*.so.*)
    foreach(library ${libraries})
        if(NOT IS_SYMLINK ${library})
            file(CHMOD ${library} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
        endif()
    endforeach()

    # Where Debian's zsh looks for what packages bring.
    if(EXISTS ${root}/share/zsh/site-functions)
        file(RENAME ${root}/share/zsh/site-functions ${root}/share/zsh/vendor-completions)
    endif()

    set(doc ${root}/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    file(MAKE_DIRECTORY ${doc})
    file(COPY_FILE ${debian}/copyright ${doc}/copyright)
    file(COPY_FILE ${debian}/changelog ${doc}/changelog.Debian)
    file(COPY_FILE ${CPACK_HALYX_SOURCE_DIR}/CHANGELOG.md ${doc}/changelog)
    file(GLOB_RECURSE compressed ${root}/share/man/*.[1-9] ${doc}/changelog ${doc}/changelog.Debian)
    if(compressed)
        halyx_run(gzip -9nf ${compressed})
    endif()
endforeach()
