# cmake -DOUTPUT=FILE.cpp "-DPARTS=NAME=FILE;..." -P embed_text.cmake: the files' bytes as constants of
# page_parts.h.
set(text "#include \"receiver_scan/report/page_parts.h\"\n\nnamespace receiver::page_parts {\nnamespace {\n")
set(names)
foreach(part IN LISTS PARTS)
    string(REGEX MATCH "^([A-Za-z]+)=(.*)$" found "${part}")
    set(name ${CMAKE_MATCH_1})
    file(READ ${CMAKE_MATCH_2} bytes HEX)
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${bytes}")
    string(APPEND text "const char ${name}Bytes[] = {${bytes}};\n")
    string(APPEND views "extern const std::string_view ${name};\n"
                        "const std::string_view ${name}(${name}Bytes, sizeof(${name}Bytes));\n")
endforeach()
file(WRITE ${OUTPUT} "${text}}  // namespace\n\n${views}\n}  // namespace receiver::page_parts\n")
