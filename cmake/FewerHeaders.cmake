# Lets a build read the headers of libraries fewer times: headers that most sources of a target
# include are precompiled, and sources that share the largest ones are compiled together.
#
# A launcher of the compiler such as ccache keeps nothing that was compiled with precompiled headers
# unless its settings allow it, as those of ./dev do; if the compiler is Clang, it keeps little. Tools that
# read the commands of a build expect each source by itself, and for coverage only some targets are
# instrumented.
set(precompile ON)
set(together ON)
if(CMAKE_EXPORT_COMPILE_COMMANDS OR TYK_COVERAGE)
    set(precompile OFF)
    set(together OFF)
elseif(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(precompile OFF)
elseif(CMAKE_CXX_COMPILER_LAUNCHER)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER_LAUNCHER} --get-config sloppiness
                    OUTPUT_VARIABLE sloppiness ERROR_QUIET)
    if(NOT sloppiness MATCHES "pch_defines" OR NOT sloppiness MATCHES "time_macros")
        set(precompile OFF)
    endif()
endif()

# Precompiles the headers of the standard library that most sources include, and others.
function(tyk_precompile target)
    if(precompile)
        target_precompile_headers(${target} PRIVATE <algorithm> <array> <cstdint> <functional>
            <map> <memory> <optional> <set> <string> <string_view> <utility> <vector> ${ARGN})
    endif()
endfunction()

# Lets a target use the headers of another one, which has the same options of the compiler.
function(tyk_share_precompiled target other)
    if(precompile)
        target_precompile_headers(${target} REUSE_FROM ${other})
    endif()
endfunction()

# Compiles sources of a target as one. Names that are private to a source must differ in them.
function(tyk_together target group)
    if(together)
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
        set_source_files_properties(${ARGN} PROPERTIES UNITY_GROUP ${group})
    endif()
endfunction()
