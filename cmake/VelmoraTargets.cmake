# Flags that every target of the project shares, and the one way a folder becomes a library.

add_library(velmora_flags INTERFACE)
target_compile_options(velmora_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wconversion -Wno-sign-conversion)
# GIO uses "signals" as a name, so Qt's lower-case keywords are off.
target_compile_definitions(velmora_flags INTERFACE
    QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING
    QT_DISABLE_DEPRECATED_BEFORE=0x060400)
target_include_directories(velmora_flags INTERFACE ${CMAKE_SOURCE_DIR})
# How Debian hardens its programs, and binding at start, which makes the addresses of functions read-only.
target_compile_options(velmora_flags INTERFACE
    $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2 -fstack-protector-strong -Wformat -Werror=format-security>)
target_link_options(velmora_flags INTERFACE $<$<CONFIG:Release>:-Wl,-z,relro,-z,now>)
if(VELMORA_SANITIZE)
    target_compile_options(velmora_flags INTERFACE
        -fsanitize=${VELMORA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(velmora_flags INTERFACE -fsanitize=${VELMORA_SANITIZE})
endif()

# velmora_library(NAME SOURCES… LINKS…): one folder, one static library. What a folder may include follows from
# LINKS, which only names folders below it in the order that CONTRIBUTING.md gives.
function(velmora_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC velmora_flags ${ARG_LINKS} PRIVATE ${ARG_PRIVATE_LINKS})
endfunction()

# velmora_client(NAME CONFIGURATION): the client's program.
function(velmora_client name configuration)
    add_executable(${name} ${CMAKE_SOURCE_DIR}/app/main.cpp)
    target_link_libraries(${name} PRIVATE velmora_app ${configuration})
endfunction()

# velmora_configuration(NAME APPLICATION_ID API_BASE_URL): what is compiled in, of which each executable links exactly
# one. API_BASE_URL is a C++ expression. Objects, not an archive: libraries of every level refer to them, and whichever
# is linked last must still find them.
function(velmora_configuration name application_id api_base_url)
    set(VELMORA_APPLICATION_ID ${application_id})
    set(VELMORA_API_BASE_URL ${api_base_url})
    configure_file(${CMAKE_SOURCE_DIR}/platform/Configuration.cpp.in ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp @ONLY)
    add_library(${name} OBJECT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
    target_link_libraries(${name} PUBLIC velmora_flags Qt6::Core)
endfunction()
