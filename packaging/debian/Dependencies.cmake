# Run by cpack before it begins: which packages the programs and libraries need, as dpkg-shlibdeps knows them.

# Puts them into CPACK_DEBIAN_<component>_PACKAGE_DEPENDS.
function(halyx_depends component)
    set(work ${CPACK_HALYX_BINARY_DIR}/shlibdeps)
    file(WRITE ${work}/debian/control "Source: halyx\n\nPackage: halyx\nArchitecture: any\n")
    execute_process(
        COMMAND dpkg-shlibdeps -O -l${CPACK_HALYX_PRIVATE_DIR} -x${CPACK_PACKAGE_NAME} --ignore-missing-info ${ARGN}
        WORKING_DIRECTORY ${work} OUTPUT_VARIABLE found ERROR_VARIABLE complaints RESULT_VARIABLE status
        OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT status EQUAL 0 OR NOT found MATCHES "^shlibs:Depends=(.+)$")
        message(FATAL_ERROR "dpkg-shlibdeps (of the package dpkg-dev) does not say what ${ARGN} need: ${complaints}")
    endif()
    set(depends ${CMAKE_MATCH_1})
    if(CPACK_DEBIAN_PACKAGE_ARCHITECTURE STREQUAL "i386")
        # On a 64-bit machine the 32-bit libraries are of other packages, made of the same sources with the same versions.
        string(REGEX REPLACE "lib32([a-z+]+[-0-9a-z]*)" "lib\\1" depends "${depends}")
        string(REPLACE "libc6-i386" "libc6" depends "${depends}")
    endif()
    set(CPACK_DEBIAN_${component}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
endfunction()

halyx_depends(RUNTIME ${CPACK_HALYX_BINARY_DIR}/bin/halyx ${CPACK_HALYX_BINARY_DIR}/bin/halyx-writer
    ${CPACK_HALYX_PRIVATE_DIR}/libHalyxScanner.so)
halyx_depends(LIBRARY ${CPACK_HALYX_BINARY_DIR}/lib/libhalyxwriter.so)
