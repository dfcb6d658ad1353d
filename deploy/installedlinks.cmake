# installed_document(<file> <result>): the file as installed next to the others, in a flat folder:
# its links lead to what is installed, and the other links become plain text.
function(installed_document file result)
    file(READ "${file}" text)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
    string(REGEX REPLACE "!\\[[^]]*\\]\\([^)]*\\)\n*" "" text "${text}") # pictures stay with the sources
    # Within the tree the documents are one folder up or down.
    string(REPLACE "](docs/" "](" text "${text}")
    string(REPLACE "](../deploy/" "](examples/" text "${text}")
    string(REPLACE "](../" "](" text "${text}")
    string(REPLACE "](sample-tool.md" "](../vond-sample-tool/sample-tool.md" text "${text}")
    string(REPLACE "](LICENSE)" "](copyright)" text "${text}")
    string(REGEX REPLACE
        "\\[([^]]*)\\]\\((architecture|performance|reliability|conformance|windows|CONTRIBUTING)\\.md[^)]*\\)"
        "\\1 (in the sources)" text "${text}")
    get_filename_component(name "${file}" NAME)
    set(made "${CMAKE_CURRENT_BINARY_DIR}/documents/${name}")
    file(CONFIGURE OUTPUT "${made}" CONTENT "${text}" @ONLY NEWLINE_STYLE UNIX)
    set(${result} "${made}" PARENT_SCOPE)
endfunction()
