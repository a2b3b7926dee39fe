# Joins the page's parts and makes a C++ source of them. The build includes this file, which adds the
# source to the tool's library; as a script (cmake -D OUT=FILE -P Page.cmake) it writes the source.
set(page_parts page.html page.css)
# The script's parts; each comes after those that it needs at the start.
foreach(part dom data format values state filter raster difference viewer pointer histogram rolling
        strip plots table detail address keys main)
    list(APPEND page_parts ${part}.js)
endforeach()
list(TRANSFORM page_parts PREPEND ${CMAKE_CURRENT_LIST_DIR}/page/)

if(NOT CMAKE_SCRIPT_MODE_FILE)
    set(page_source ${CMAKE_CURRENT_BINARY_DIR}/Page.cpp)
    add_custom_command(OUTPUT ${page_source}
        COMMAND ${CMAKE_COMMAND} -D OUT=${page_source} -P ${CMAKE_CURRENT_LIST_FILE}
        DEPENDS ${page_parts} ${CMAKE_CURRENT_LIST_FILE}
        COMMENT "Embedding the sheet's page" VERBATIM)
    # Clang warns of string literals above 64 KiB, the least that a compiler must support.
    set_source_files_properties(${page_source} PROPERTIES COMPILE_OPTIONS -Wno-overlength-strings)
    target_sources(tyktools PRIVATE ${page_source})
    return()
endif()

# Sets `out` to the SHA-256 of `text` in the form of a content security policy.
function(policy_hash text out)
    string(SHA256 hex "${text}")
    set(alphabet ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
    set(base64 "")
    foreach(at RANGE 0 60 6)
        string(SUBSTRING "${hex}00" ${at} 6 digits)
        foreach(shift 18 12 6 0)
            math(EXPR index "(0x${digits} >> ${shift}) & 63")
            string(SUBSTRING ${alphabet} ${index} 1 letter)
            string(APPEND base64 ${letter})
        endforeach()
    endforeach()
    # 32 bytes have one byte less than eleven groups of three.
    string(SUBSTRING ${base64} 0 43 base64)
    set(${out} "sha256-${base64}=" PARENT_SCOPE)
endfunction()

set(script "")
foreach(path ${page_parts})
    file(READ ${path} text)
    if(path MATCHES "\\.js$")
        string(APPEND script "${text}")
    elseif(path MATCHES "\\.css$")
        set(style "${text}")
    else()
        set(page "${text}")
    endif()
endforeach()
policy_hash("${script}" script_hash)
policy_hash("${style}" style_hash)
foreach(name SCRIPT_HASH STYLE_HASH STYLE SCRIPT)
    string(TOLOWER ${name} value)
    string(REPLACE "@${name}@" "${${value}}" page "${page}")
endforeach()

string(FIND "${page}" "@PICTURES@" pictures)
string(FIND "${page}" "@DATA@" data)
math(EXPR between "${pictures} + 10")
math(EXPR between_length "${data} - ${between}")
math(EXPR after "${data} + 6")
string(SUBSTRING "${page}" 0 ${pictures} kPageStart)
string(SUBSTRING "${page}" ${between} ${between_length} kPageMiddle)
string(SUBSTRING "${page}" ${after} -1 kPageEnd)
set(source "// Made from the page's parts; see Page.cmake.\n#include \"tools/sheet/Page.h\"\n\nnamespace tyksim {\n")
foreach(name kPageStart kPageMiddle kPageEnd)
    string(APPEND source "\nconst std::string_view ${name} =\n    R\"page(${${name}})page\";\n")
endforeach()
file(WRITE ${OUT} "${source}\n}  // namespace tyksim\n")
