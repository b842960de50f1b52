# quillet_embed(TARGET NAME FILE): the bytes of FILE become part of TARGET, as `extern const unsigned char NAME[]` and
# `extern const std::size_t NAMELength` of namespace quillet. Run with -P, this file writes the source that holds them.

if(CMAKE_SCRIPT_MODE_FILE)
  file(READ ${INPUT} bytes HEX)
  string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
  file(WRITE ${OUTPUT} "#include <cstddef>
namespace quillet {
extern const unsigned char ${NAME}[];
extern const std::size_t ${NAME}Length;
const unsigned char ${NAME}[] = {
${bytes}};
const std::size_t ${NAME}Length = sizeof ${NAME};
}  // namespace quillet
")
  return()
endif()

set(QUILLET_EMBED_SCRIPT ${CMAKE_CURRENT_LIST_FILE})

function(quillet_embed target name file)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  add_custom_command(OUTPUT ${source}
    COMMAND ${CMAKE_COMMAND} -DINPUT=${file} -DOUTPUT=${source} -DNAME=${name} -P ${QUILLET_EMBED_SCRIPT}
    DEPENDS ${file} ${QUILLET_EMBED_SCRIPT} VERBATIM)
  set_source_files_properties(${source} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)  # it repeats its declarations
  target_sources(${target} PRIVATE ${source})
endfunction()
