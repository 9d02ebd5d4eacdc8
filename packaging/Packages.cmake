# What cpack makes: the tool, the writer's library, and what is needed to compile with that.

set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME halyx)
set(CPACK_PACKAGE_VENDOR "the halyx authors")
set(CPACK_PACKAGE_CONTACT "halyx authors <halyx@halyx.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime library development)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
if(HALYX_M32)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
endif()

# The first line of each description is the short one.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(about "A Halyx collection is a hash table in shared memory: one process writes it,
any number map it and read without locks.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME halyx)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "print live shared-memory hash tables without locking them
${about}

halyx prints the elements of such a collection as bytes, as readable values or
as JSON while its writer works, the headers of its files, its notification
queues and the processes that use it. halyx-writer makes collections, from CSV
for instance.")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libhalyxwriter${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "library that makes and changes shared-memory hash tables
${about}

This package contains the library that a collection's writer uses.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_LIST_DIR}/debian/shlibs ${CMAKE_CURRENT_LIST_DIR}/debian/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libhalyxwriter-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "library that makes and changes shared-memory hash tables - headers
${about}

This package contains the headers of the library that a collection's writer
uses, and what CMake and pkg-config need to find it.")

# Both run when cpack does: what the programs depend on, and what a package has that no other installation has.
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/debian/Dependencies.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian/Finish.cmake)
set(CPACK_HALYX_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_HALYX_BINARY_DIR ${PROJECT_BINARY_DIR})
set(CPACK_HALYX_PRIVATE_DIR ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR}/halyx)
include(CPack)
