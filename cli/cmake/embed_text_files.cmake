# Writes a C++ source that holds text files as a table of EmbeddedFile
# (name = file name, text = contents), so the program needs none of them at
# run time. Run with: cmake -DOUTPUT=x.cpp -DTABLE=kName -DFILES="a;b" -P this
file(WRITE "${OUTPUT}.tmp" "// Generated from ${FILES}; do not edit.\n#include \"embedded_files.hpp\"\n\nnamespace stemstrip::cli {\nnamespace {\nconstexpr EmbeddedFile kEntries[] = {\n")
foreach(path IN LISTS FILES)
  file(READ "${path}" text)
  string(FIND "${text}" ")embedded\"" clash)
  if(NOT clash EQUAL -1)
    message(FATAL_ERROR "${path} contains the raw-string delimiter )embedded\"")
  endif()
  get_filename_component(name "${path}" NAME)
  file(APPEND "${OUTPUT}.tmp" "    {\"${name}\", R\"embedded(${text})embedded\"},\n")
endforeach()
file(APPEND "${OUTPUT}.tmp" "};\n}  // namespace\n\nconst std::span<const EmbeddedFile> ${TABLE}{kEntries};\n\n}  // namespace stemstrip::cli\n")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
