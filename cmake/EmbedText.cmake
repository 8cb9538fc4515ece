# Writes a C++ source in which FUNCTION, declared in HEADER in the name space SPACE, gives the text of INPUT: one raw
# string a line, since compilers limit the length of one.
file(READ ${INPUT} text)
string(REPLACE "\n" "\n)text\"\n    R\"text(" text "${text}")
file(WRITE ${OUTPUT} "#include \"${HEADER}\"

#pragma GCC diagnostic ignored \"-Woverlength-strings\"

namespace ${SPACE} {

std::string_view ${FUNCTION}() {
    static const char text[] =
    R\"text(${text})text\";
    return {text, sizeof text - 1};
}

}  // namespace ${SPACE}
")
