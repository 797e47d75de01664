# Turns the STRINGTABLE of a resource script into a C++ table for builds without a resource compiler.
# Called as a script: cmake -DSCRIPT=x.rc -DOUTPUT=x.cpp -P StringTable.cmake
file(STRINGS "${SCRIPT}" lines REGEX "^ *[0-9]+,? +\"")
set(rows "")
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^ *([0-9]+),? +\"(.*)\" *$" "    {\\1, u\"\\2\"},\n" row "${line}")
  string(APPEND rows "${row}")
endforeach()
file(WRITE "${OUTPUT}" "#include \"winapi/linux/dll_entry.h\"\n\nnamespace winapi {\n
const StringResource string_resources[] = {\n${rows}    {0, nullptr},\n};\n\n}  // namespace winapi\n")
