# Puts copyright and changelog beside what was installed for each package. The changelog is CHANGELOG.md's part for this
# version, written as Debian's tools read it.

set(source ${CPACK_QUILLET_SOURCE})
set(version ${CPACK_PACKAGE_VERSION})

file(STRINGS ${source}/CHANGELOG.md lines)
set(changes "")
set(inside FALSE)
foreach(line IN LISTS lines)
  if(line MATCHES "^## ([^ ]+)")
    string(COMPARE EQUAL "${CMAKE_MATCH_1}" "${version}" inside)
  elseif(inside AND line MATCHES "^- (.*)")
    string(APPEND changes "  * ${CMAKE_MATCH_1}\n")
  elseif(inside AND line MATCHES "^  (.*)")
    string(APPEND changes "    ${CMAKE_MATCH_1}\n")
  endif()
endforeach()
if(NOT changes)
  message(FATAL_ERROR "CHANGELOG.md has nothing about ${version}")
endif()
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(folder ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}/usr/share/doc/${package})
  file(MAKE_DIRECTORY ${folder})
  file(COPY ${source}/packaging/linux/debian/copyright DESTINATION ${folder}
       FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  file(WRITE ${folder}/changelog
       "${package} (${version}) unstable; urgency=medium\n\n${changes}\n -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
  execute_process(COMMAND gzip -9nf ${folder}/changelog COMMAND_ERROR_IS_FATAL ANY)
  file(CHMOD ${folder}/changelog.gz PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endforeach()
