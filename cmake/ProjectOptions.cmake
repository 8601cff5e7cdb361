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

option(SPLICORA_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
option(SPLICORA_BUILD_FUZZERS "Build the fuzzers; needs clang" OFF)
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
    -Wcast-align -Wundef)
if(SPLICORA_WARNINGS_AS_ERRORS)
    target_compile_options(project_options INTERFACE -Werror)
endif()

if(SPLICORA_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

if(SPLICORA_BUILD_FUZZERS)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
