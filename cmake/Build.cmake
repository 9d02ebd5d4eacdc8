# How everything in this repository is compiled. Targets take it by linking halyx_build.

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()
# The checks that the tool's own texts define stay in every build.
string(REPLACE "-DNDEBUG" "" CMAKE_CXX_FLAGS_RELEASE "${CMAKE_CXX_FLAGS_RELEASE}")
string(REPLACE "-DNDEBUG" "" CMAKE_CXX_FLAGS_RELWITHDEBINFO "${CMAKE_CXX_FLAGS_RELWITHDEBINFO}")
string(REPLACE "-O3" "-O2" CMAKE_CXX_FLAGS_RELEASE "${CMAKE_CXX_FLAGS_RELEASE}")

if(HALYX_M32)
    # The walk needs untorn 64-bit loads: movq is one, and three times as fast as what came before it.
    add_compile_options(-m32 -msse2)
    add_link_options(-m32)
endif()
if(HALYX_SANITIZE)
    # What a sanitizer adds is optimised for minutes otherwise; a report needs lines, no variables.
    string(REPLACE "-O2 -g" "-O1 -g1" CMAKE_CXX_FLAGS_RELWITHDEBINFO "${CMAKE_CXX_FLAGS_RELWITHDEBINFO}")
    add_compile_options(-fsanitize=${HALYX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${HALYX_SANITIZE})
    if(HALYX_SANITIZE MATCHES thread)
        # Fences are used between atomic accesses only, which need no help from the sanitizer.
        add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
    endif()
endif()

add_library(halyx_build INTERFACE)
target_compile_features(halyx_build INTERFACE cxx_std_20)
target_compile_definitions(halyx_build INTERFACE _FILE_OFFSET_BITS=64 _GNU_SOURCE)
target_compile_options(halyx_build INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference -Wformat=2 -Wno-long-long
    $<$<CXX_COMPILER_ID:Clang>:-Wno-unknown-warning-option>)
if(HALYX_WERROR)
    target_compile_options(halyx_build INTERFACE -Werror)
endif()
set(HALYX_SOURCE_DIR ${PROJECT_SOURCE_DIR})

# A shared library shows what its map says and needs nothing that it does not name.
function(halyx_exports target map)
    target_link_options(${target} PRIVATE -Wl,--version-script=${map} -Wl,--exclude-libs,ALL)
    if(NOT HALYX_SANITIZE)
        target_link_options(${target} PRIVATE -Wl,-z,defs)
    endif()
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map})
endfunction()
