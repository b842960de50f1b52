# Gives each package its changelog: CHANGELOG.md's part for this version, written as Debian's tools read it. Takes the
# debugging symbols out of the static libraries, as CPack does for programs.

set(source ${CPACK_QUILLET_SOURCE})
set(version ${CPACK_PACKAGE_VERSION})

file(STRINGS ${source}/CHANGELOG.md lines)
set(inside FALSE)
set(items "")
foreach(line IN LISTS lines)
  if(line MATCHES "^## ([^ ]+)")
    string(COMPARE EQUAL "${CMAKE_MATCH_1}" "${version}" inside)
  elseif(inside AND line MATCHES "^- (.*)")
    string(APPEND items "\n* ${CMAKE_MATCH_1}")
  elseif(inside AND line MATCHES "^  (.*)")
    string(APPEND items " ${CMAKE_MATCH_1}")
  endif()
endforeach()
file(WRITE ${CPACK_TEMPORARY_DIRECTORY}/items "${items}\n")
execute_process(COMMAND fold -s -w 74 ${CPACK_TEMPORARY_DIRECTORY}/items
                OUTPUT_VARIABLE changes OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE " *\n" "\n    " changes "${changes}")
string(REPLACE "\n    * " "\n  * " changes "${changes}")
if(items STREQUAL "")
  message(FATAL_ERROR "CHANGELOG.md has nothing about ${version}")
endif()
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(folder ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}/usr/share/doc/${package})
  file(WRITE ${folder}/changelog
       "${package} (${version}) unstable; urgency=medium\n${changes}\n\n -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
  execute_process(COMMAND gzip -9nf ${folder}/changelog COMMAND_ERROR_IS_FATAL ANY)
  file(CHMOD ${folder}/changelog.gz PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endforeach()

file(GLOB_RECURSE archives ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/library/*.a)
execute_process(COMMAND strip --strip-debug --remove-section=.comment --remove-section=.note
                        --enable-deterministic-archives ${archives} COMMAND_ERROR_IS_FATAL ANY)
