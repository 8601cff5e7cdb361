# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR

# What every target of the project shares, said once.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_AUTOMOC ON)
set(CMAKE_AUTORCC ON)
# Uncompressed and in the first format of the resource compiler: the images are compressed already.
set(CMAKE_AUTORCC_OPTIONS "--format-version;1;--no-compress")
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug, Release, RelWithDebInfo or MinSizeRel" FORCE)
endif()

option(SPLICORA_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
option(SPLICORA_BUILD_FUZZERS "Build the fuzzers; needs clang" OFF)
option(SPLICORA_HARDENING "Harden optimised programs as Debian hardens its packages" ON)
option(SPLICORA_SANITIZE "Check addresses, leaks and undefined behaviour at run time" OFF)

add_library(project_options INTERFACE)
target_include_directories(project_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(project_options INTERFACE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_FOREACH
    QT_NO_URL_CAST_FROM_STRING)

target_compile_options(project_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual
    -Wcast-align -Wundef -Wformat-security)
if(SPLICORA_WARNINGS_AS_ERRORS)
    target_compile_options(project_options INTERFACE -Werror)
endif()

# The flags of Debian's hardening=+all. The package gets them from dpkg: its build type is "None".
if(SPLICORA_HARDENING AND NOT SPLICORA_SANITIZE)
    include(CheckCXXCompilerFlag)
    include(CheckLinkerFlag)
    include(CheckPIESupported)
    set(optimised
        $<OR:$<CONFIG:Release>,$<CONFIG:RelWithDebInfo>,$<CONFIG:MinSizeRel>>)

    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    check_pie_supported(LANGUAGES CXX)
    # Some compilers define the level of fortification themselves.
    foreach(flag -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
        string(MAKE_C_IDENTIFIER SPLICORA_HAS${flag} has_flag)
        check_cxx_compiler_flag(${flag} ${has_flag})
        if(${has_flag})
            add_compile_options($<${optimised}:${flag}>)
        endif()
    endforeach()
    check_linker_flag(CXX -Wl,-z,relro,-z,now SPLICORA_HAS_RELRO)
    if(SPLICORA_HAS_RELRO)
        add_link_options($<${optimised}:-Wl,-z,relro,-z,now>)
    endif()
endif()

if(SPLICORA_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

if(SPLICORA_BUILD_FUZZERS)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
