# Compiles a text file into the program: writes a C++ source whose function
# `FUNCTION` (in namespace vantaro) returns the file's bytes as a string.
#   cmake -DINPUT=<file> -DOUTPUT=<source> -DFUNCTION=<name> -P embed_text.cmake
file(READ "${INPUT}" content HEX)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${content}")
string(REGEX REPLACE "((0x..,){24})" "\\1\n" bytes "${bytes}")
file(WRITE "${OUTPUT}.tmp"
  "// Generated from ${INPUT} at build time; do not edit.\n"
  "#include <string>\n\n"
  "namespace vantaro {\n"
  "namespace {\n"
  "const unsigned char kBytes[] = {\n${bytes}};\n"
  "}  // namespace\n\n"
  "const std::string& ${FUNCTION}() {\n"
  "  static const std::string text(reinterpret_cast<const char*>(kBytes), sizeof kBytes);\n"
  "  return text;\n"
  "}\n\n"
  "}  // namespace vantaro\n")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
