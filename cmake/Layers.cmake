# Targets of the tree; a layer's headers are included by their path from the root. Warnings are errors in the
# developers' preset alone (CMAKE_COMPILE_WARNING_AS_ERROR): each compiler has new ones, and a user's build stands.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

add_library(mv_options INTERFACE)
target_include_directories(mv_options INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(mv_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    # g++ 12 finds an overflow inside vector::insert of a constant string where there is none.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow>
    # Designated initialisers may leave the rest of a plain struct at its defaults.
    -Wno-missing-field-initializers)
# g++ 12 takes the sanitizers' own checks for uses of what is not initialised.
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
    target_compile_options(mv_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()
target_link_libraries(mv_options INTERFACE Threads::Threads)

# The standard's headers take a quarter of clang's time for a file. What a file forgets to include the other presets find.
option(MIVO_STANDARD_PRECOMPILED "Compile the libraries with the standard's headers precompiled" OFF)
if(MIVO_STANDARD_PRECOMPILED)
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/standard_headers.cpp CONTENT "")
    add_library(mv_standard_headers OBJECT ${CMAKE_BINARY_DIR}/standard_headers.cpp)
    target_link_libraries(mv_standard_headers PRIVATE mv_options)
    target_precompile_headers(mv_standard_headers PRIVATE <algorithm> <array> <chrono> <cmath> <filesystem> <functional>
        <map> <memory> <optional> <span> <string> <string_view> <thread> <utility> <variant> <vector>)
endif()
function(mv_precompile_standard target)
    if(MIVO_STANDARD_PRECOMPILED)
        target_precompile_headers(${target} REUSE_FROM mv_standard_headers)
    endif()
endfunction()

# mv_library(NAME SOURCES a.cpp... USES targets... PRIVATE_USES targets...)
function(mv_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;USES;PRIVATE_USES" ${ARGN})
    if(ARG_SOURCES)
        add_library(${name} STATIC ${ARG_SOURCES})
        target_link_libraries(${name} PUBLIC mv_options ${ARG_USES} PRIVATE ${ARG_PRIVATE_USES})
        mv_precompile_standard(${name})
    else()
        add_library(${name} INTERFACE)
        target_link_libraries(${name} INTERFACE mv_options ${ARG_USES})
    endif()
endfunction()

# mv_package(TARGET pkg-config-name...): an imported target for a Debian library.
function(mv_package target)
    if(NOT TARGET PkgConfig::${target})
        pkg_check_modules(${target} REQUIRED IMPORTED_TARGET GLOBAL ${ARGN})
    endif()
endfunction()
