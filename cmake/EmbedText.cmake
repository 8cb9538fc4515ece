# Writes a C++ source that holds the text of INPUT as simulation::bundledMachine(): one raw string a line, since
# compilers limit the length of one.
file(READ ${INPUT} text)
string(REPLACE "\n" "\n)machine\"\n    R\"machine(" text "${text}")
file(WRITE ${OUTPUT} "#include \"simulation/machine/MachineFile.h\"

namespace {
const char theText[] =
    R\"machine(${text})machine\";
}

namespace simulation {
std::string_view bundledMachine() { return {theText, sizeof theText - 1}; }
}  // namespace simulation
")
